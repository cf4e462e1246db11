// Comma-separated values: fields stand in quotes where they must, and a null is the null text without quotes, so that
// reading gives back what was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct CsvMarks {
    char delimiter = ',', quote = '"';
};

// Whether the text must stand in quotes.
bool needs_quotes(std::string_view text, std::string_view null_text, CsvMarks marks);
// The same for a text behind which 16 more bytes can be read.
bool padded_needs_quotes(std::string_view text, std::string_view null_text, CsvMarks marks);
// Writes the text in quotes and returns the end of what was written: at most twice its size and two.
char* write_quoted(std::string_view text, CsvMarks marks, char* out);
void add_csv_field(std::string_view text, std::string_view null_text, CsvMarks marks, std::string& line);

struct CsvField {
    std::string_view text; // valid until the next record; 16 more bytes can be read behind it
    bool quoted = false;
};

// Where CSV comes from. Gives the bytes read, 0 at the end. Fails with exit_shell.
class CsvSource {
  public:
    virtual ~CsvSource() = default;
    virtual std::size_t read(char* into, std::size_t size) = 0;
    virtual std::string name() const = 0;
};

// A file, or, for "|COMMAND", what a program writes, which must end well.
std::unique_ptr<CsvSource> open_source(const std::string& path);
// The lines of an open file, up to its end or a line that holds "\\." alone.
std::unique_ptr<CsvSource> lines_of(std::FILE* file);

class CsvReader {
  public:
    CsvReader(std::unique_ptr<CsvSource> source, CsvMarks marks);

    // False at the end. Fails with exit_shell for a text that is no CSV.
    bool next(std::vector<CsvField>& fields);
    // Fails with exit_shell, naming the source and the line where the last record began.
    [[noreturn]] void refuse(std::string_view reason) const;
    std::string name() const { return source_->name(); }
    std::size_t line() const { return record_line_; }   // where the last record began, from 1
    std::size_t bytes() const { return passed_ + at_; } // read so far
    std::size_t record_size() const { return at_ - record_; }

  private:
    bool more(std::vector<CsvField>& fields);
    std::size_t find_mark(std::size_t from);
    void load(std::size_t block);
    std::size_t end_of_field(std::vector<CsvField>& fields);
    void read_quoted(std::vector<CsvField>& fields);
    std::size_t find_quote(std::size_t from, std::vector<CsvField>& fields);
    bool is_at(char c, std::vector<CsvField>& fields);

    std::unique_ptr<CsvSource> source_;
    CsvMarks marks_;
    std::size_t line_ = 1, record_line_ = 1;
    // What was read and not passed lies before size_; the record that is being read begins at record_. Behind
    // size_ there is room for a block.
    std::vector<char> buffer_;
    std::size_t record_ = 0, at_ = 0, size_ = 0, passed_ = 0;
    std::size_t block_; // whose delimiters and line feeds are known
    std::uint64_t mask_ = 0;
};

} // namespace tarnsh
