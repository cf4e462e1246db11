#include "output.h"

#include "failure.h"
#include "terminal.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tarnsh {

Output::Output(std::FILE* standard) : file_(standard) {
    std::setvbuf(file_, nullptr, _IOFBF, 1 << 16);
}

Output::Output(const std::string& path) : file_(open_file(path, "wb")), name_(path) {
    if (!file_) fail(exit_shell, "cannot write " + path + ": " + std::strerror(errno));
    std::setvbuf(file_, nullptr, _IOFBF, 1 << 16);
}

Output::~Output() {
    if (file_) std::fclose(file_);
}

void Output::write(std::string_view text) {
    if (!failed_ && std::fwrite(text.data(), 1, text.size(), file_) != text.size()) fail_to_write();
}

void Output::flush() {
    if (!failed_ && std::fflush(file_) != 0) fail_to_write();
}

void Output::close() {
    if (std::fclose(std::exchange(file_, nullptr)) != 0 && !failed_) fail_to_write();
}

void Output::fail_to_write() {
    failed_ = true;
    if (name_.empty() && is_reader_gone()) throw OutputClosed{};
    fail(exit_shell,
         "cannot write " + (name_.empty() ? "standard output" : name_) + ": " + std::strerror(errno));
}

} // namespace tarnsh
