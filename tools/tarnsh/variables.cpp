#include "variables.h"

#include "text.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace tarnsh {

namespace {

bool is_name_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// The size of a quoted text or comment, which is skipped as a whole; 0 when none begins here.
std::size_t size_of_quoted(std::string_view text) {
    const auto up_to = [text](std::string_view mark, std::size_t from) {
        const std::size_t at = text.find(mark, from);
        return at == text.npos ? text.size() : at + mark.size();
    };
    if (text.starts_with("--")) return up_to("\n", 2);
    if (text.starts_with("/*")) return up_to("*/", 2);
    if (text[0] == '\'' || text[0] == '"' || text[0] == '`') return up_to(text.substr(0, 1), 1);
    return 0;
}

// Takes a reference, without its ":", off the text; empty when it names no variable.
bool take_reference(std::string_view& text, const Variables& variables, std::string& value) {
    const char quote = !text.empty() && (text[0] == '\'' || text[0] == '"') ? text[0] : '\0';
    const std::size_t begin = quote ? 1 : 0;
    std::size_t end = begin;
    while (end < text.size() && is_name_character(text[end]))
        ++end;
    const auto found = variables.find(text.substr(begin, end - begin));
    if (end == begin || found == variables.end()) return false;
    if (quote && (end == text.size() || text[end] != quote)) return false;
    value = quote ? in_quotes(found->second, quote) : found->second;
    text.remove_prefix(quote ? end + 1 : end);
    return true;
}

} // namespace

bool is_variable_name(std::string_view name) {
    return !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0 &&
           std::ranges::all_of(name, is_name_character);
}

std::string substituted(std::string_view text, const Variables& variables) {
    std::string out;
    if (variables.empty()) return std::string(text);
    while (!text.empty()) {
        std::size_t size = size_of_quoted(text);
        if (size == 0 && text.starts_with("::")) size = 2; // a cast
        if (size == 0) {
            std::string_view rest = text.substr(1);
            std::string value;
            if (text[0] == ':' && take_reference(rest, variables, value)) {
                out += value;
                text = rest;
                continue;
            }
            size = 1;
        }
        out += text.substr(0, size);
        text.remove_prefix(size);
    }
    return out;
}

} // namespace tarnsh
