// Text for a terminal: decodes UTF-8, counts columns, and escapes what could disturb the screen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnsh {

// The first character of a text that is not empty. A byte that begins no character counts as one that is not
// valid.
struct Character {
    char32_t code;
    std::size_t size; // in bytes
    bool valid;
};

Character first_character(std::string_view text);

// Whether all of it is printable ASCII.
bool is_plain(std::string_view text);

// The terminal columns of a text.
std::size_t text_width(std::string_view text);

// Escapes control characters and bytes that are not UTF-8 as \n, \t, \r, \xNN or \uNNNN; line feeds
// stay on request.
std::string printable(std::string_view text, bool keep_line_feeds = false);
void add_printable(std::string_view text, std::string& out, bool keep_line_feeds = false);

// The size without an incomplete last character.
std::size_t whole_characters(std::string_view text);

// Decodes "0x" and two digits for every byte in place. Returns how many bytes there are; nothing for other
// texts.
std::optional<std::size_t> decode_hex(char* text, std::size_t size);

bool is_blank(char c);
std::string upper(std::string_view text); // ASCII only
std::string_view trim(std::string_view text);
// The first word of letters, digits and underscores, in upper case; empty when something else comes first.
std::string first_word(std::string_view text);
// The text in quotes, with those inside doubled; and a name without its double quotes, if it has them.
std::string in_quotes(std::string_view text, char mark);
std::string plain_name(std::string_view name);
// The last dot outside of double quotes; npos when there is none.
std::size_t last_dot(std::string_view name);
// A number with thousands separated; and with what it counts: "1 row", "2,000 rows".
std::string grouped(std::int64_t number);
std::string counted(std::int64_t number, std::string_view noun);

// The following take something off the front of a text, with the blanks after it. A word, up to a blank;
// without its single quotes, if it has them.
std::string take_word(std::string_view& text);
// A name, up to a blank or bracket outside of double quotes, which stay.
std::string take_name(std::string_view& text);
// The content of the brackets at the front; nothing when there are none or they do not end.
std::optional<std::string> take_brackets(std::string_view& text);

} // namespace tarnsh
