#include "csv.h"

#include "failure.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace tarnsh {

void add_csv_field(std::string_view text, std::string_view null_text, std::string& line) {
    const bool bare = text != null_text && text.find_first_of(",\"\r\n") == std::string_view::npos;
    if (bare)
        line += text;
    else
        line += in_quotes(text, '"');
}

int CsvReader::peek() {
    if (at_ == buffer_.size()) {
        buffer_.resize(1 << 16);
        buffer_.resize(std::fread(buffer_.data(), 1, buffer_.size(), file_.get()));
        at_ = 0;
        if (buffer_.empty() && std::ferror(file_.get()) != 0) fail_to_read(path_);
    }
    return at_ < buffer_.size() ? buffer_[at_] : EOF;
}

int CsvReader::get() {
    const int c = peek();
    if (c == EOF) return EOF;
    ++at_;
    ++bytes_;
    if (c == '\n') ++line_;
    return c;
}

void CsvReader::skip_byte_order_mark() {
    constexpr unsigned char mark[] = {0xEF, 0xBB, 0xBF};
    if (peek() == EOF || !std::equal(std::begin(mark), std::end(mark), buffer_.begin(),
                                     buffer_.begin() + std::min<std::ptrdiff_t>(3, std::ssize(buffer_))))
        return;
    at_ = bytes_ = std::size(mark);
}

void CsvReader::refuse(std::string_view reason) const {
    fail(exit_shell, fmt::format("{}, line {}: {}", path_, record_line_, reason));
}

void CsvReader::read_quoted(std::string& text) {
    for (int c = get();; c = get()) {
        if (c == EOF) refuse("a quoted field has no end");
        if (c == '"') {
            if (peek() != '"') return;
            get();
        }
        text += static_cast<char>(c);
    }
}

bool CsvReader::next(std::vector<CsvField>& fields) {
    if (bytes_ == 0) skip_byte_order_mark();
    fields.clear();
    record_line_ = line_;
    if (peek() == EOF) return false;
    for (;;) {
        CsvField& field = fields.emplace_back();
        if (peek() == '"') {
            get();
            field.quoted = true;
            read_quoted(field.text);
        }
        int c = get();
        while (!field.quoted && c != ',' && c != '\n' && c != EOF) {
            field.text += static_cast<char>(c);
            c = get();
        }
        if (field.quoted && c == '\r') c = get();
        if (c == ',') continue;
        if (c != '\n' && c != EOF) refuse("text behind the end of a quoted field");
        if (!field.quoted && field.text.ends_with('\r')) field.text.pop_back();
        return true;
    }
}

} // namespace tarnsh
