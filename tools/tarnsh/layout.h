// The widths of a table's columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

// Makes every width at least that of the text in its column.
void widen(const std::vector<std::string>& line, std::vector<std::size_t>& widths);

// Whether the columns, with their frame, fit the width.
bool fits_width(const std::vector<std::size_t>& widths, std::size_t frame, std::size_t width);

// Makes the widest columns narrower until they fit, none of them narrower than a word of eight letters.
void narrow(std::vector<std::size_t>& widths, std::size_t frame, std::size_t width);

// The size of the longest prefix of at most that many terminal columns; at least one character.
std::size_t prefix_of_width(std::string_view text, std::size_t width);

// The text, or as much of it as leaves room for the mark of a cut.
std::string cut_to_width(std::string_view text, std::size_t width);

} // namespace tarnsh
