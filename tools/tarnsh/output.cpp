#include "output.h"

#include "failure.h"
#include "session.h"
#include "terminal.h"
#include "text.h"

#include <cerrno>
#include <cstring>

namespace tarnsh {

namespace {

[[noreturn]] void fail_with_reason(const char* what, const std::string& name) {
    fail(exit_shell, std::string("cannot ") + what + ' ' + name + ": " + std::strerror(errno));
}

} // namespace

File open_to_read(const std::string& path) {
    File file(open_file(path, "rb"));
    if (!file) fail_to_read(path);
    return file;
}

void fail_to_read(const std::string& path) {
    fail_with_reason("read", path);
}

Output::Output(std::FILE* standard) : file_(standard) {
    std::setvbuf(file_, nullptr, _IONBF, 0); // the text is the buffer
}

Output::Output(const std::string& target) : file_(nullptr), name_(target) {
    program_ = target.starts_with('|');
    file_ = program_ ? open_program(std::string(trim(std::string_view(target).substr(1))), "w")
                     : open_file(target, "wb");
    if (!file_) fail_with_reason(program_ ? "start" : "write", target);
    std::setvbuf(file_, nullptr, _IONBF, 0);
}

Output::~Output() {
    if (!file_ || name_.empty()) return;
    if (program_)
        close_program(file_);
    else
        std::fclose(file_);
}

void Output::write_out() {
    if (text_.empty()) return;
    log(text_);
    const std::size_t size = text_.size(), written = std::fwrite(text_.data(), 1, size, file_);
    text_.clear();
    if (written != size) fail_to_write();
}

void Output::copy_to(const std::string& path) {
    copy_.reset(open_file(path, "ab"));
    if (!copy_) fail_with_reason("write", path);
}

void Output::log(std::string_view text) {
    if (!copy_) return;
    if (std::fwrite(text.data(), 1, text.size(), copy_.get()) != text.size() || std::fflush(copy_.get()) != 0)
        say("tarnsh: the log cannot be written");
}

void Output::flush() {
    write_out();
}

void Output::close() {
    if (!failed_) write_out();
    std::FILE* const file = file_;
    file_ = nullptr;
    const bool closed = program_ ? close_program(file) : std::fclose(file) == 0;
    if (!closed && !failed_) fail_to_write();
}

void Output::fail_to_write() {
    failed_ = true;
    if ((name_.empty() || program_) && is_reader_gone()) throw OutputClosed{};
    fail_with_reason("write", name_.empty() ? "standard output" : name_);
}

} // namespace tarnsh
