#include "sql_text.h"

#include "scanner.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tarnlite {

namespace {

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
    // Empty statements may precede it.
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

} // namespace tarnlite
