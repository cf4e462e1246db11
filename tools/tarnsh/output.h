// Where rows go: standard output or a file. Failures to write are never passed over.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace tarnsh {

class Output {
  public:
    // Takes standard output over.
    explicit Output(std::FILE* standard);
    // Creates a file, or empties the one that is there. Fails with exit_shell.
    explicit Output(const std::string& path);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    // All three throw OutputClosed when the reader of standard output has left, and fail with exit_shell
    // otherwise. After a failure nothing more is written.
    void write(std::string_view text);
    void flush();
    void close();

  private:
    [[noreturn]] void fail_to_write();

    std::FILE* file_;
    std::string name_; // empty for standard output
    bool failed_ = false;
};

} // namespace tarnsh
