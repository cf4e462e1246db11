// Comma-separated values: fields stand in quotes where they must, and a null is the null text without quotes, so that
// reading gives back what was written.
#pragma once

#include <array>
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

// Adds the text, in quotes where it must stand in them; and in quotes anyway.
void add_csv_field(std::string_view text, std::string_view null_text, CsvMarks marks, std::string& line);
void add_csv_quoted(std::string_view text, CsvMarks marks, std::string& line);

// Finds the characters for which a text must stand in quotes.
class SpecialFinder {
  public:
    static constexpr std::size_t step = 16;

    explicit SpecialFinder(CsvMarks marks);
    // So many bytes more than the text has can be read.
    bool finds_in(std::string_view text) const;

  private:
    std::array<std::array<char, step>, 4> special_; // each of them, repeated
};

struct CsvField {
    std::string_view text; // valid until the next field; 32 more bytes can be read behind it
    bool quoted = false;
    bool last = false; // of its record
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

// Reads records field by field. The marks (delimiters, quotes, line feeds) of some KB are found in one go, so that a bare field
// costs a look at the next one.
class CsvReader {
  public:
    CsvReader(std::unique_ptr<CsvSource> source, CsvMarks marks);

    // Between two records. False at the end. All fail with exit_shell for a text that is no CSV.
    bool begin_record() {
        record_line_ = line_;
        return at_ < size_ || more();
    }
    // For a reader of bare fields that wants them as fast as it gets: where the next field begins, and the marks that are known
    // behind it, as places in a window. 32 bytes behind a mark can be read. It says how far it came, with how many records, and is
    // told the lines where they began.
    struct Marked {
        const char *window, *from;
        const std::uint16_t *next, *end;
    };
    Marked marked() const { return {buffer_.data() + window_, buffer_.data() + at_, next_mark_, marks_end_}; }
    template <typename Tell> void pass(const Marked& marked, std::size_t records, Tell tell) {
        at_ = static_cast<std::size_t>(marked.from - buffer_.data());
        next_mark_ = marked.next;
        for (; records > 0; --records, record_line_ = ++line_)
            tell(record_line_);
    }
    CsvMarks marks() const { return marks_; }
    CsvField next_field();
    // Fails with exit_shell, naming the source and the line where the record began.
    [[noreturn]] void refuse(std::string_view reason) const;
    std::string name() const { return source_->name(); }
    std::size_t line() const { return record_line_; }   // where the record began, from 1
    std::size_t bytes() const { return passed_ + at_; } // read so far

  private:
    bool more();
    bool find_mark();
    bool is_at_quote(std::size_t distance);
    std::size_t mark_place() const { return window_ + *next_mark_; }
    CsvField read_quoted();
    bool pass_end(std::size_t end);

    std::unique_ptr<CsvSource> source_;
    CsvMarks marks_;
    std::size_t line_ = 1, record_line_ = 1;
    // What was read and not passed lies from at_, where the next field begins, to size_. Behind size_ there is room for a block.
    std::vector<char> buffer_;
    std::size_t at_ = 0, size_ = 0, passed_ = 0;
    // The marks between window_ and scanned_, counted from window_; those before at_ are passed.
    std::vector<std::uint16_t> places_;
    const std::uint16_t *next_mark_, *marks_end_;
    std::size_t window_ = 0, scanned_ = 0;
};

} // namespace tarnsh
