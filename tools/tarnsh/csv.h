// Comma-separated values: fields stand in double quotes where they must, and a null is the null text without
// quotes, so that reading gives back what was written.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

void add_csv_field(std::string_view text, std::string_view null_text, std::string& line);

struct CsvField {
    std::string text;
    bool quoted = false;
};

class CsvReader {
  public:
    explicit CsvReader(std::FILE* file) : file_(file) {}

    // False at the end of the file. Fails with exit_shell for a text that is no CSV.
    bool next(std::vector<CsvField>& fields);
    std::size_t line() const { return record_line_; } // where the last record began, from 1
    std::size_t bytes() const { return bytes_; }      // read so far

  private:
    int get();
    int peek();
    void read_quoted(std::string& text);
    void skip_byte_order_mark();

    std::FILE* file_;
    std::size_t line_ = 1, record_line_ = 1, bytes_ = 0;
    std::vector<unsigned char> buffer_;
    std::size_t at_ = 0;
};

} // namespace tarnsh
