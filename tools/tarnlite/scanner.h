// The words of an SQL text, one by one. Comments, and the contents of strings and quoted names, are skipped;
// the SQL is not validated.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnlite {

struct Token {
    std::string word; // in upper case; a single character for anything that is not a word
    std::size_t start = 0;
    std::size_t length = 0; // in the text, including quotes

    bool is_word() const;
};

class Scanner {
  public:
    explicit Scanner(std::string_view sql) : sql_(sql) {}

    // False at the end, with an empty word. Strings and quoted names come as a token of their opening quote.
    bool next(Token& token);
    // The rest after the last token, including blanks and comments.
    std::string_view rest() const { return sql_.substr(at_); }

  private:
    void skip_past(std::string_view mark, std::size_t from);
    void skip_blanks_and_comments();
    void skip_quoted_or_symbol();

    std::string_view sql_;
    std::size_t at_ = 0;
};

} // namespace tarnlite
