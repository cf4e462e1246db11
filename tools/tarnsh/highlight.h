// Colours for SQL that is being typed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

enum class Colour : char {
    none,
    keyword,
    text,
    number,
    comment,
    command,
    hint,
};

// One for each byte.
std::vector<Colour> colours_of(std::string_view sql);

// The escape sequence that begins a colour.
std::string_view sequence_of(Colour colour);

// The keywords of SQL, in upper case and order.
bool is_keyword(std::string_view word);
const std::vector<std::string_view>& keywords();

} // namespace tarnsh
