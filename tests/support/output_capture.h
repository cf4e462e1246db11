/*
 * Captures what the process writes to its standard output between construction and text(), at the level of
 * the file descriptor, so that lines printed by a shared library are seen as well. One capture at a time; a
 * failed test gets its captured output back, since reports of failures are in it too.
 */
#ifndef TEST_SUPPORT_OUTPUT_CAPTURE_H
#define TEST_SUPPORT_OUTPUT_CAPTURE_H

#include <filesystem>
#include <string>

namespace test_support {

class OutputCapture {
  public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /* Ends the capture and gives what was written and flushed until then, line ends as "\n". */
    std::string text();

  private:
    std::string content() const;
    void restore();

    std::filesystem::path path_;
    int saved_output_;
};

} // namespace test_support

#endif
