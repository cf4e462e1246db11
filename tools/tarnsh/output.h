// The files of the shell: those it reads, and where rows go, standard output or a file. Failures are never
// passed over.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tarnsh {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Both fail with exit_shell, fail_to_read with the reason that errno has.
File open_to_read(const std::string& path);
[[noreturn]] void fail_to_read(const std::string& path);

class Output {
  public:
    // Takes standard output over.
    explicit Output(std::FILE* standard);
    // Creates a file, or empties the one that is there. Fails with exit_shell.
    explicit Output(const std::string& path);

    // All three throw OutputClosed when the reader of standard output has left, and fail with exit_shell
    // otherwise; close only when nothing has failed before.
    void write(std::string_view text);
    void flush();
    void close();

  private:
    [[noreturn]] void fail_to_write();

    File file_;
    std::string name_; // empty for standard output
    bool failed_ = false;
};

} // namespace tarnsh
