// Where CSV comes from: files, programs, and the lines after a command.
#include "csv.h"
#include "failure.h"
#include "output.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <utility>

namespace tarnsh {

namespace {

class FileSource final : public CsvSource {
  public:
    explicit FileSource(const std::string& path) : file_(open_to_read(path)), path_(path) {
        std::setvbuf(file_.get(), nullptr, _IONBF, 0); // reads are as large as a buffer
    }
    std::size_t read(char* into, std::size_t size) override {
        const std::size_t got = std::fread(into, 1, size, file_.get());
        if (got == 0 && std::ferror(file_.get()) != 0) fail_to_read(path_);
        return got;
    }
    std::string name() const override { return path_; }

  private:
    File file_;
    std::string path_;
};

class ProgramSource final : public CsvSource {
  public:
    explicit ProgramSource(std::string command)
        : command_(std::move(command)), file_(open_program(command_, "r")) {
        if (!file_) fail_to_read(name());
    }
    ProgramSource(const ProgramSource&) = delete;
    ProgramSource& operator=(const ProgramSource&) = delete;
    ~ProgramSource() override {
        if (file_) close_program(file_);
    }
    std::size_t read(char* into, std::size_t size) override {
        const std::size_t got = file_ ? std::fread(into, 1, size, file_) : 0;
        if (got == 0 && file_ && !close_program(std::exchange(file_, nullptr)))
            fail(exit_shell, name() + " has failed");
        return got;
    }
    std::string name() const override { return "|" + command_; }

  private:
    std::string command_;
    std::FILE* file_;
};

class LineSource final : public CsvSource {
  public:
    explicit LineSource(std::FILE* file) : file_(file) {}
    std::size_t read(char* into, std::size_t size) override {
        if (line_.empty() && !ended_) read_line();
        const std::size_t got = std::min(size, line_.size());
        std::copy_n(line_.begin(), got, into);
        line_.erase(0, got);
        return got;
    }
    std::string name() const override { return "standard input"; }

  private:
    void read_line() {
        for (int c = 0; c != '\n' && (c = std::getc(file_)) != EOF;)
            line_ += static_cast<char>(c);
        ended_ = line_.empty() || trim(line_) == "\\.";
        if (ended_) line_.clear();
    }

    std::FILE* file_;
    std::string line_;
    bool ended_ = false;
};

} // namespace

std::unique_ptr<CsvSource> open_source(const std::string& path) {
    if (path.starts_with('|')) return std::make_unique<ProgramSource>(path.substr(1));
    return std::make_unique<FileSource>(path);
}

std::unique_ptr<CsvSource> lines_of(std::FILE* file) {
    return std::make_unique<LineSource>(file);
}

} // namespace tarnsh
