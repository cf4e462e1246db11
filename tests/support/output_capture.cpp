/*
 * Redirects descriptor 1 to a file of the temporary directory and back; see the header.
 */
#include "output_capture.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>

#ifdef _WIN32
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#define dup _dup
#define dup2 _dup2
#define close _close
#define getpid _getpid
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace test_support {

namespace {

constexpr int output_descriptor = 1;

int create_file(const std::filesystem::path& path) {
#ifdef _WIN32
    return _wopen(path.c_str(), _O_CREAT | _O_TRUNC | _O_RDWR | _O_BINARY, _S_IREAD | _S_IWRITE);
#else
    return open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR, S_IRUSR | S_IWUSR);
#endif
}

} // namespace

OutputCapture::OutputCapture()
    : path_(std::filesystem::temp_directory_path() / ("tarnsql_output_" + std::to_string(getpid()))) {
    std::fflush(stdout);
    saved_output_ = dup(output_descriptor);
    const int file = create_file(path_);
    if (saved_output_ < 0 || file < 0 || dup2(file, output_descriptor) < 0)
        throw std::runtime_error("the standard output cannot be captured");
    close(file);
}

OutputCapture::~OutputCapture() {
    restore();
    const std::string written = content();
    if (testing::Test::HasFailure()) std::fwrite(written.data(), 1, written.size(), stdout);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string OutputCapture::content() const {
    std::ifstream file(path_, std::ios::binary);
    std::string written{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::erase(written, '\r');
    return written;
}

void OutputCapture::restore() {
    if (saved_output_ < 0) return;
    std::fflush(stdout);
    dup2(saved_output_, output_descriptor);
    close(saved_output_);
    saved_output_ = -1;
}

std::string OutputCapture::text() {
    const std::string flushed = content();
    restore();
    return flushed;
}

} // namespace test_support
