#include "highlight.h"

#include "text.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace tarnsh {

namespace {

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

struct Token {
    std::size_t end;
    Colour colour;
};

std::size_t behind(std::string_view sql, std::string_view mark, std::size_t from) {
    const std::size_t at = sql.find(mark, from);
    return at == sql.npos ? sql.size() : at + mark.size();
}

Token token_at(std::string_view sql, std::size_t at, bool starts_line) {
    const std::string_view rest = sql.substr(at);
    if (rest.starts_with("--")) return {behind(sql, "\n", at), Colour::comment};
    if (rest.starts_with("/*")) return {behind(sql, "*/", at + 2), Colour::comment};
    if (rest[0] == '\'') return {behind(sql, "'", at + 1), Colour::text};
    if (rest[0] == '"' || rest[0] == '`') return {behind(sql, rest.substr(0, 1), at + 1), Colour::none};
    std::size_t end = at;
    if (rest[0] == '\\') {
        while (end < sql.size() && !is_blank(sql[end]))
            ++end;
        return {end, starts_line ? Colour::command : Colour::none};
    }
    while (end < sql.size() && is_word_character(sql[end]))
        ++end;
    if (end == at) return {at + 1, Colour::none};
    if (!is_digit(rest[0]))
        return {end, is_keyword(upper(sql.substr(at, end - at))) ? Colour::keyword : Colour::none};
    while (end < sql.size() && (is_word_character(sql[end]) || sql[end] == '.'))
        ++end;
    return {end, Colour::number};
}

} // namespace

const std::vector<std::string_view>& keywords() {
    static const std::vector<std::string_view> words{
        "ALTER",      "AND",     "AS",     "ASC",      "BEGIN",   "BETWEEN", "BY",      "CASE",
        "CAST",       "COMMIT",  "CREATE", "CROSS",    "CURRENT", "DEFAULT", "DELETE",  "DESC",
        "DISTINCT",   "DROP",    "ELSE",   "END",      "EXCEPT",  "EXEC",    "EXISTS",  "FROM",
        "FUNCTION",   "GROUP",   "HAVING", "IN",       "INDEX",   "INNER",   "INSERT",  "INTERSECT",
        "INTO",       "IS",      "JOIN",   "KEY",      "LEFT",    "LIKE",    "LIMIT",   "NOT",
        "NULL",       "OFFSET",  "ON",     "OR",       "ORDER",   "OUTER",   "PRIMARY", "PROCEDURE",
        "REFERENCES", "REPLACE", "RIGHT",  "ROLLBACK", "SELECT",  "SET",     "TABLE",   "THEN",
        "TRIGGER",    "UNION",   "UNIQUE", "UPDATE",   "VALUES",  "VIEW",    "WHEN",    "WHERE",
        "WITH"};
    return words;
}

bool is_keyword(std::string_view word) {
    return std::ranges::binary_search(keywords(), word);
}

std::vector<Colour> colours_of(std::string_view sql) {
    std::vector<Colour> colours(sql.size(), Colour::none);
    bool starts_line = true;
    for (std::size_t at = 0; at < sql.size();) {
        const Token token = token_at(sql, at, starts_line);
        std::fill(colours.begin() + static_cast<std::ptrdiff_t>(at),
                  colours.begin() + static_cast<std::ptrdiff_t>(token.end), token.colour);
        starts_line = sql[at] == '\n' || (starts_line && is_blank(sql[at]));
        at = token.end;
    }
    return colours;
}

std::string_view sequence_of(Colour colour) {
    switch (colour) {
    case Colour::none: break;
    case Colour::keyword: return "\x1b[1;34m";
    case Colour::text: return "\x1b[32m";
    case Colour::number: return "\x1b[36m";
    case Colour::comment: return "\x1b[90m";
    case Colour::command: return "\x1b[35m";
    case Colour::hint: return "\x1b[90m";
    }
    return "\x1b[0m";
}

} // namespace tarnsh
