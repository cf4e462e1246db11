// Small texts: formatting, comparing and reading numbers, all independent of the process's locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/memory.h"

#if defined(__MINGW32__)
#define TARN_PRINTF(format_index, first_argument)                                                            \
    __attribute__((format(gnu_printf, format_index, first_argument)))
#else
#define TARN_PRINTF(format_index, first_argument)                                                            \
    __attribute__((format(printf, format_index, first_argument)))
#endif

namespace tarn {

// Formats into a zeroed block of size bytes; a longer text is cut to size - 1 characters. Null when memory is
// short.
Owned<char> format_text(size_t size, const char* format, ...) noexcept TARN_PRINTF(2, 3);

// Copies text into a field of size bytes, cut to size - 1 characters, always terminated.
void copy_to_field(char* field, size_t size, std::string_view text) noexcept;

// Maps A to Z to a to z, and nothing else.
bool equal_ignoring_case(std::string_view a, std::string_view b) noexcept;

// The integer that a text begins with: leading white space, a sign, digits; anything else ends it, no digits
// give 0. Returns the low 32 bits, after saturating at 64 bits.
int32_t leading_int32(std::string_view text) noexcept;

// The same, but saturates at 32 bits.
int32_t nearest_int32(std::string_view text) noexcept;

// The decimal number that a text begins with, as strtod reads it in the C locale; 0 when there is none. A
// number too large for a double is infinite, one too small is 0.
double leading_double(std::string_view text) noexcept;

} // namespace tarn
