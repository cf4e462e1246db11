#include "scanner.h"

#include <cctype>
#include <utility>

namespace tarnlite {

namespace {

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

} // namespace

bool Token::is_word() const {
    return !word.empty() && is_word_character(word.front());
}

bool Scanner::next(Token& token) {
    skip_blanks_and_comments();
    const std::size_t start = at_;
    std::string word;
    if (at_ < sql_.size() && is_word_character(sql_[at_])) {
        for (; at_ < sql_.size() && is_word_character(sql_[at_]); ++at_) {
            word.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(sql_[at_]))));
        }
    } else if (at_ < sql_.size()) {
        word.push_back(sql_[at_]);
        skip_quoted_or_symbol();
    }
    token = Token{std::move(word), start, at_ - start};
    return token.length > 0;
}

void Scanner::skip_past(std::string_view mark, std::size_t from) {
    const std::size_t found = sql_.find(mark, from);
    at_ = found == std::string_view::npos ? sql_.size() : found + mark.size();
}

void Scanner::skip_blanks_and_comments() {
    while (at_ < sql_.size()) {
        if (std::isspace(static_cast<unsigned char>(sql_[at_])) != 0) {
            ++at_;
        } else if (sql_.substr(at_, 2) == "--") {
            skip_past("\n", at_);
        } else if (sql_.substr(at_, 2) == "/*") {
            skip_past("*/", at_ + 2);
        } else {
            return;
        }
    }
}

// A doubled quote reads as two quoted pieces in a row, which makes no difference here.
void Scanner::skip_quoted_or_symbol() {
    const char c = sql_[at_];
    if (c == '\'' || c == '"' || c == '`') {
        skip_past(std::string_view(&c, 1), at_ + 1);
    } else if (c == '[') {
        skip_past("]", at_ + 1);
    } else {
        ++at_;
    }
}

} // namespace tarnlite
