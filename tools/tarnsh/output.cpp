#include "output.h"

#include "failure.h"
#include "terminal.h"

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
    std::setvbuf(file_.get(), nullptr, _IOFBF, 1 << 16);
}

Output::Output(const std::string& path) : file_(open_file(path, "wb")), name_(path) {
    if (!file_) fail_with_reason("write", path);
    std::setvbuf(file_.get(), nullptr, _IOFBF, 1 << 16);
}

void Output::write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) fail_to_write();
}

void Output::flush() {
    if (std::fflush(file_.get()) != 0) fail_to_write();
}

void Output::close() {
    if (std::fclose(file_.release()) != 0 && !failed_) fail_to_write();
}

void Output::fail_to_write() {
    failed_ = true;
    if (name_.empty() && is_reader_gone()) throw OutputClosed{};
    fail_with_reason("write", name_.empty() ? "standard output" : name_);
}

} // namespace tarnsh
