#include "sql_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>

namespace tarnlite {

namespace {

struct Token {
    std::string word; // in upper case; a single character for anything that is no word
    std::size_t start;
    std::size_t length;
};

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

class Scanner {
  public:
    explicit Scanner(std::string_view sql) : sql_(sql) {}

    // False at the end. Strings and quoted names come as a token of their opening quote.
    bool next(Token& token) {
        skip_blanks_and_comments();
        if (at_ >= sql_.size()) return false;
        const std::size_t start = at_;
        std::string word;
        if (is_word_character(sql_[at_])) {
            for (; at_ < sql_.size() && is_word_character(sql_[at_]); ++at_) {
                word.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(sql_[at_]))));
            }
        } else {
            word.push_back(sql_[at_]);
            skip_quoted_or_symbol();
        }
        token = Token{std::move(word), start, at_ - start};
        return true;
    }

  private:
    void skip_past(std::string_view mark, std::size_t from) {
        const std::size_t found = sql_.find(mark, from);
        at_ = found == std::string_view::npos ? sql_.size() : found + mark.size();
    }

    void skip_blanks_and_comments() {
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

    // A doubled quote inside reads as two quoted pieces in a row, which is all the same here.
    void skip_quoted_or_symbol() {
        const char c = sql_[at_];
        if (c == '\'' || c == '"' || c == '`') {
            skip_past(std::string_view(&c, 1), at_ + 1);
        } else if (c == '[') {
            skip_past("]", at_ + 1);
        } else {
            ++at_;
        }
    }

    std::string_view sql_;
    std::size_t at_ = 0;
};

constexpr std::array<std::string_view, 6> interval_fields{"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND"};

bool is_interval_field(const std::string& word) {
    return std::ranges::find(interval_fields, word) != interval_fields.end();
}

} // namespace

std::string accept_interval_types(std::string_view sql) {
    std::string result;
    std::size_t copied = 0;
    std::array<Token, 4> last{};
    for (Scanner scanner(sql); scanner.next(last[3]); std::ranges::rotate(last, last.begin() + 1)) {
        const auto& [interval, from, to, until] = last;
        if (interval.word != "INTERVAL" || to.word != "TO") continue;
        if (!is_interval_field(from.word) || !is_interval_field(until.word)) continue;
        result.append(sql.substr(copied, to.start - copied));
        result.append("\"TO\"");
        copied = to.start + to.length;
    }
    result.append(sql.substr(copied));
    return result;
}

std::string statement_verb(std::string_view sql) {
    static constexpr std::array<std::string_view, 6> after_with{"SELECT",  "VALUES", "INSERT",
                                                                "REPLACE", "UPDATE", "DELETE"};
    Scanner scanner(sql);
    Token token{};
    // Empty statements may stand in front.
    do
        if (!scanner.next(token)) return {};
    while (token.word == ";");
    if (token.word != "WITH") return token.word;
    int depth = 0;
    while (scanner.next(token)) {
        if (token.word == "(") ++depth;
        if (token.word == ")") --depth;
        if (depth == 0 && std::ranges::find(after_with, token.word) != after_with.end()) break;
    }
    return token.word;
}

bool is_show_version(std::string_view sql) {
    Scanner scanner(sql);
    Token token{};
    if (!scanner.next(token) || token.word != "SHOW") return false;
    if (!scanner.next(token) || token.word != "VERSION") return false;
    while (scanner.next(token)) {
        if (token.word != ";") return false;
    }
    return true;
}

} // namespace tarnlite
