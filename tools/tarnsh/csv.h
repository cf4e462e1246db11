// Comma-separated values: fields are quoted where necessary, and a null is the null text without quotes, so
// that values read back as they were written.
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

// Adds the text, quoted where necessary; the second function always quotes.
void add_csv_field(std::string_view text, std::string_view null_text, CsvMarks marks, std::string& line);
void add_csv_quoted(std::string_view text, CsvMarks marks, std::string& line);

// Finds the characters that make quotes necessary.
class SpecialFinder {
  public:
    static constexpr std::size_t step = 16;

    explicit SpecialFinder(CsvMarks marks);
    // step bytes after the text must be readable.
    bool finds_in(std::string_view text) const;

  private:
    std::array<std::array<char, step>, 4> special_; // each of them, repeated
};

struct CsvField {
    std::string_view text; // valid until the next field
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

// A file or, for "|COMMAND", the output of a program, whose failure is an error.
std::unique_ptr<CsvSource> open_source(const std::string& path);
// The lines of an open file, up to its end or a line that holds "\\." alone.
std::unique_ptr<CsvSource> lines_of(std::FILE* file);

// Reads records field by field. The marks (delimiters, quotes, line feeds) of 16 KB are found at once, so
// that an unquoted field costs one look at the next mark.
class CsvReader {
  public:
    CsvReader(std::unique_ptr<CsvSource> source, CsvMarks marks);

    // Call between records; false at the end. This and the others fail with exit_shell for text that is not
    // CSV.
    bool begin_record() {
        record_line_ = line_;
        return at_ < size_ || more();
    }
    // Call between records: from here on the text stays in memory, all in one piece, until the next call.
    void keep() { kept_ = at_; }
    // The text kept, with what is read beyond it. The next field may move it.
    std::string_view kept_text() const { return {buffer_.data() + kept_, size_ - kept_}; }
    // The place of a field in the kept text. Shorter text may replace it.
    char* place_of(const CsvField& field) { return buffer_.data() + (field.text.data() - buffer_.data()); }
    // Whether what is read has too few marks for a record of that many fields, so that the next field may
    // have to read on.
    bool is_low(std::size_t fields) const {
        return scanned_ == size_ && static_cast<std::size_t>(marks_end_ - next_mark_) < fields;
    }
    // The fast path for unquoted fields: where the next field begins, and the marks after it that are known,
    // as offsets in a window. The offset before them and those behind them can be read, but may mean nothing.
    // pass() skips the fields and records that the caller took.
    struct Marked {
        const char *window, *from;
        const std::uint16_t *next, *end;
    };
    Marked marked() const { return {buffer_.data() + window_, buffer_.data() + at_, next_mark_, marks_end_}; }
    void pass(std::size_t fields, std::size_t records) {
        next_mark_ += fields;
        at_ = window_ + next_mark_[-1] + 1U;
        line_ += records;
        if (records > 0) record_line_ = line_;
    }
    CsvMarks marks() const { return marks_; }
    CsvField next_field();
    // Fails with exit_shell, naming the source and the line where the record began.
    [[noreturn]] void refuse(std::string_view reason) const;
    std::string name() const { return source_->name(); }
    std::size_t line() const { return record_line_; }           // where the record began, from 1
    std::size_t next_line() const { return line_ + 1; }         // after the one that is read
    std::size_t bytes() const { return read_ - (size_ - at_); } // consumed so far

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
    // Bytes read: those kept, from at_ on those not yet consumed, up to size_. A block fits after them.
    std::vector<char> buffer_;
    std::size_t kept_ = 0, at_ = 0, size_ = 0;
    std::size_t read_ = 0; // bytes of the source
    // The marks between window_ and scanned_, as offsets from window_; those before at_ are consumed.
    std::vector<std::uint16_t> places_;
    const std::uint16_t *next_mark_, *marks_end_;
    std::size_t window_ = 0, scanned_ = 0;
};

} // namespace tarnsh
