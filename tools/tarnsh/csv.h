// Comma-separated values: fields stand in double quotes where they must, and a null is the null text without
// quotes, so that reading gives back what was written.
#pragma once

#include "output.h"

#include <cstddef>
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
    explicit CsvReader(const std::string& path) : file_(open_to_read(path)), path_(path) {}

    // False at the end of the file. Fails with exit_shell for a text that is no CSV.
    bool next(std::vector<CsvField>& fields);
    // Fails with exit_shell, naming the file and the line where the last record began.
    [[noreturn]] void refuse(std::string_view reason) const;
    std::size_t line() const { return record_line_; } // that line, from 1
    std::size_t bytes() const { return bytes_; }      // read so far

  private:
    int get();
    int peek();
    void read_quoted(std::string& text);
    void skip_byte_order_mark();

    File file_;
    std::string path_;
    std::size_t line_ = 1, record_line_ = 1, bytes_ = 0;
    std::vector<unsigned char> buffer_;
    std::size_t at_ = 0;
};

} // namespace tarnsh
