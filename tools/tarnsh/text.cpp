#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <iterator>

#ifdef TARNSH_UTF8PROC
#include <utf8proc.h>
#endif

namespace tarnsh {

namespace {

#ifdef TARNSH_UTF8PROC
std::size_t char_width(char32_t code) {
    return static_cast<std::size_t>(utf8proc_charwidth(static_cast<utf8proc_int32_t>(code)));
}
#else
struct Range {
    char32_t first, last;
};

// Without a Unicode table: combining marks have no width; East Asian scripts and pictographs take two
// columns.
constexpr Range without_width[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},    {0x610, 0x61A},
                                   {0x64B, 0x65F},   {0x200B, 0x200F}, {0x20D0, 0x20FF},  {0xFE00, 0xFE0F},
                                   {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};
constexpr Range of_two[] = {{0x1100, 0x115F},  {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97C},
                            {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                            {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FC}, {0x1F900, 0x1F9FF},
                            {0x20000, 0x3FFFD}};

std::size_t char_width(char32_t code) {
    const auto holds = [code](Range range) { return code >= range.first && code <= range.last; };
    if (std::ranges::any_of(without_width, holds)) return 0;
    return std::ranges::any_of(of_two, holds) ? 2 : 1;
}
#endif

bool is_control(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069); // direction overrides
}

bool is_word_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

void add_escaped(std::string& out, Character character) {
    switch (character.code) {
    case '\n': out += "\\n"; break;
    case '\t': out += "\\t"; break;
    case '\r': out += "\\r"; break;
    default:
        if (character.code < 0x80 || !character.valid)
            out += fmt::format("\\x{:02x}", static_cast<unsigned>(character.code));
        else
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(character.code));
    }
}

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const int letter = std::tolower(static_cast<unsigned char>(c));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace

// The fast path: most texts are.
bool is_plain(std::string_view text) {
    unsigned others = 0;
    for (const char c : text)
        others |= static_cast<unsigned>(static_cast<unsigned char>(c - 0x20) >= 0x5F);
    return others == 0;
}

Character first_character(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const Character alone{byte(0), 1, byte(0) < 0x80};
    const std::size_t size = byte(0) < 0xC2 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    if (size == 1 || byte(0) > 0xF4 || text.size() < size) return alone;
    char32_t code = byte(0) & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return alone;
        code = code << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < smallest[size] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return alone;
    return {code, size, true};
}

std::size_t text_width(std::string_view text) {
    if (is_plain(text)) return text.size();
    std::size_t width = 0;
    while (!text.empty()) {
        const Character character = first_character(text);
        width += character.code < 0x80 ? 1 : char_width(character.code);
        text.remove_prefix(character.size);
    }
    return width;
}

std::string printable(std::string_view text, bool keep_line_feeds) {
    std::string out;
    add_printable(text, out, keep_line_feeds);
    return out;
}

void add_printable(std::string_view text, std::string& out, bool keep_line_feeds) {
    if (is_plain(text)) {
        out += text;
        return;
    }
    while (!text.empty()) {
        const Character character = first_character(text);
        if (character.valid && (!is_control(character.code) || (keep_line_feeds && character.code == '\n')))
            out += text.substr(0, character.size);
        else
            add_escaped(out, character);
        text.remove_prefix(character.size);
    }
}

std::size_t whole_characters(std::string_view text) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        const std::size_t wanted = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
        if (byte >= 0xC0) return wanted > back ? text.size() - back : text.size();
        if (byte < 0x80) break;
    }
    return text.size();
}

std::optional<std::size_t> decode_hex(char* text, std::size_t size) {
    if (!std::string_view(text, size).starts_with("0x") || size % 2 != 0) return std::nullopt;
    for (std::size_t i = 2; i < size; i += 2) {
        const int high = digit_value(text[i]), low = digit_value(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        text[i / 2 - 1] = static_cast<char>(high << 4 | low);
    }
    return size / 2 - 1;
}

bool is_blank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string upper(std::string_view text) {
    std::string out(text);
    std::ranges::transform(out, out.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return out;
}

std::string_view trim(std::string_view text) {
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string first_word(std::string_view text) {
    const auto end = std::ranges::find_if_not(text, is_word_character);
    return upper(text.substr(0, static_cast<std::size_t>(end - text.begin())));
}

std::string in_quotes(std::string_view text, char mark) {
    std::string out(1, mark);
    for (const char c : text)
        out.append(c == mark ? 2 : 1, c);
    return out + mark;
}

std::string plain_name(std::string_view name) {
    if (name.size() < 2 || name.front() != '"' || name.back() != '"') return std::string(name);
    std::string out(name.substr(1, name.size() - 2));
    for (std::size_t at = 0; (at = out.find("\"\"", at)) != out.npos; ++at)
        out.erase(at, 1);
    return out;
}

std::size_t last_dot(std::string_view name) {
    std::size_t dot = name.npos;
    bool inside = false;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] == '"') inside = !inside;
        if (name[at] == '.' && !inside) dot = at;
    }
    return dot;
}

std::string grouped(std::int64_t number) {
    std::string text = std::to_string(number);
    for (std::ptrdiff_t at = std::ssize(text) - 3; at > (number < 0 ? 1 : 0); at -= 3)
        text.insert(static_cast<std::size_t>(at), 1, ',');
    return text;
}

std::string counted(std::int64_t number, std::string_view noun) {
    return fmt::format("{} {}{}", grouped(number), noun, number == 1 ? "" : "s");
}

namespace {

std::string take(std::string_view& text, std::size_t size) {
    std::string taken(text.substr(0, size));
    text = trim(text.substr(taken.size()));
    return taken;
}

// The first of these characters outside quotes and brackets, or the end.
template <typename Wanted>
std::size_t find_outside(std::string_view text, std::string_view quotes, Wanted wanted) {
    char quote = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (!quote && wanted(c)) return at;
        if (c == quote)
            quote = 0;
        else if (!quote && quotes.find(c) != quotes.npos)
            quote = c;
    }
    return text.size();
}

} // namespace

std::string take_word(std::string_view& text) {
    text = trim(text);
    if (!text.starts_with('\'')) return take(text, std::ranges::find_if(text, is_blank) - text.begin());
    text.remove_prefix(1);
    std::string word = take(text, text.find('\''));
    if (!text.empty()) text = trim(text.substr(1));
    return word;
}

std::string take_name(std::string_view& text) {
    return take(text, find_outside(text, "\"", [](char c) { return is_blank(c) || c == '('; }));
}

std::optional<std::string> take_brackets(std::string_view& text) {
    if (!text.starts_with('(')) return std::nullopt;
    int depth = 0;
    const std::size_t end = find_outside(text, "'\"`", [&depth](char c) {
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        return depth == 0;
    });
    if (end == text.size()) return std::nullopt;
    const std::string inside(trim(text.substr(1, end - 1)));
    take(text, end + 1);
    return inside;
}

} // namespace tarnsh
