// Fast conversion of numbers, dates and times to text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarnsh {

// Room for the longest of these texts.
constexpr std::size_t longest_number = 40;

// Each writes its text and returns its size. write_real makes the shortest text that reads back as the same
// number.
std::size_t write_integer(std::int64_t number, char* out);
std::size_t write_real(double number, char* out);
std::size_t write_real(float number, char* out);

// "2024-02-29" from the days since 1970-01-01, and "2024-02-29 12:34:56", with ".789" when there are
// milliseconds. 0 for years that do not have four digits.
std::size_t write_date(std::int32_t days, char* out);
std::size_t write_date_time(std::int64_t milliseconds, char* out);

// Two digits for every byte; the first ones follow a "0x".
void add_hex(std::string_view bytes, bool first, std::string& out);

} // namespace tarnsh
