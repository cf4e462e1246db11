// Statement classification by the first word of the text.
#include <string_view>

#include "base/text.h"
#include "tarnsql.h"

namespace tarn {

static constexpr size_t word_length = 6;

// Only blanks and line ends are skipped; tabs, comments and parentheses count as the beginning of the word.
static std::string_view first_word(std::string_view text) noexcept {
    const size_t start = text.find_first_not_of(" \r\n");
    return start == std::string_view::npos ? std::string_view() : text.substr(start, word_length);
}

// A semicolon anywhere, followed by at least five more bytes, means several statements.
static bool carries_further_statements(std::string_view text) noexcept {
    const size_t semicolon = text.find(';');
    return semicolon != std::string_view::npos && text.size() - semicolon >= word_length;
}

struct Keyword {
    std::string_view word;
    int32_t code;
};

// Five-letter keywords include their blank: MERGE or ALTER before a line break or a tab is not recognised.
static constexpr Keyword keywords[] = {
    {"INSERT", TRN_SQL_INSERT}, {"MERGE ", TRN_SQL_INSERT},  {"REPLAC", TRN_SQL_INSERT},
    {"UPDATE", TRN_SQL_UPDATE}, {"DELETE", TRN_SQL_DELETE},  {"CREATE", TRN_SQL_CREATE},
    {"ALTER ", TRN_SQL_ALTER},  {"EXECUT", TRN_SQL_EXECUTE},
};

static int32_t classify(std::string_view text) noexcept {
    const std::string_view word = first_word(text);
    if (equal_ignoring_case(word, "SELECT"))
        return carries_further_statements(text) ? TRN_SQL_OTHER : TRN_SQL_SELECT;
    for (const Keyword& keyword : keywords)
        if (equal_ignoring_case(word, keyword.word)) return keyword.code;
    if (equal_ignoring_case(word.substr(0, 5), "EXEC ")) return TRN_SQL_EXECUTE;
    // The name of a prepared statement; capitals only.
    return word.substr(0, 3) == "STC" ? TRN_SQL_SELECT : TRN_SQL_OTHER;
}

} // namespace tarn

int32_t fun_sql_type(const char* sql) {
    return sql ? tarn::classify(sql) : TRN_ERR_ARGUMENT;
}
