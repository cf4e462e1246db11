// The shell's files: those that it reads, and where rows go: standard output, a file, or a program. Every
// failure is reported.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tarnsh {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Both fail with exit_shell; fail_to_read takes the reason from errno.
File open_to_read(const std::string& path);
[[noreturn]] void fail_to_read(const std::string& path);

class Output {
  public:
    // Standard output, which stays open.
    explicit Output(std::FILE* standard);
    // Creates or truncates a file or, for "|COMMAND", starts a program that reads what is written. Fails with
    // exit_shell.
    explicit Output(const std::string& target);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    virtual ~Output();

    // Add to the text, and call commit() now and then.
    std::string& text() { return text_; }
    void commit() {
        if (text_.size() >= full_size_) write_out();
    }
    void write(std::string_view text) {
        text_ += text;
        commit();
    }
    // All three throw OutputClosed when the reader of standard output or the program has gone, and fail with
    // exit_shell otherwise; close only when nothing has failed before. close waits for the program.
    virtual void flush();
    virtual void close();

    // Copies everything written from now on to a file. Fails with exit_shell.
    void copy_to(const std::string& path);
    void stop_copying() { copy_.reset(); }
    // Writes to that file only.
    void log(std::string_view text);

  protected:
    Output() = default; // for one that writes to others
    static constexpr std::size_t full = 1 << 16;

    virtual void write_out();
    std::string text_;
    std::size_t full_size_ = full;

  private:
    [[noreturn]] void fail_to_write();

    std::FILE* file_ = nullptr;
    std::string name_; // empty for standard output
    bool program_ = false, failed_ = false;
    File copy_;
};

} // namespace tarnsh
