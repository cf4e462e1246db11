#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

namespace tarn {

Owned<char> format_text(size_t size, const char* format, ...) noexcept {
    Owned<char> text(static_cast<char*>(allocate_zeroed(size)));
    if (!text) return text;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.get(), size, format, arguments);
    va_end(arguments);
    return text;
}

void copy_to_field(char* field, size_t size, std::string_view text) noexcept {
    const size_t length = std::min(text.size(), size - 1);
    if (length) std::memcpy(field, text.data(), length);
    std::memset(field + length, 0, size - length);
}

static char fold(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_ignoring_case(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return fold(x) == fold(y); });
}

// Drops leading white space and one plus sign, which from_chars does not take.
static std::string_view number_start(std::string_view text) noexcept {
    while (!text.empty() && (text[0] == ' ' || (text[0] >= '\t' && text[0] <= '\r')))
        text.remove_prefix(1);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    return text;
}

// Saturates at 64 bits.
static int64_t leading_int64(std::string_view text) noexcept {
    text = number_start(text);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    return text[0] == '-' ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

int32_t leading_int32(std::string_view text) noexcept {
    return static_cast<int32_t>(leading_int64(text));
}

int32_t nearest_int32(std::string_view text) noexcept {
    constexpr std::numeric_limits<int32_t> range;
    return static_cast<int32_t>(std::clamp<int64_t>(leading_int64(text), range.min(), range.max()));
}

// The number after an "e"; one with too many digits saturates far beyond any exponent that matters.
static int64_t exponent_of(std::string_view digits) noexcept {
    if (digits[0] == '+') digits.remove_prefix(1);
    constexpr int64_t far_away = int64_t{1} << 60;
    int64_t exponent = digits[0] == '-' ? -far_away : far_away;
    std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    return exponent;
}

// Whether a number, written with digits, perhaps a point and an exponent, has a magnitude of 1 or more: its
// first significant digit is before the point after the exponent has moved it.
static bool is_whole(std::string_view number) noexcept {
    const size_t e = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, e);
    const size_t first = digits.find_first_of("123456789");
    if (first == std::string_view::npos) return false;
    const auto point = static_cast<int64_t>(std::min(digits.find('.'), digits.size()));
    const int64_t exponent = e == std::string_view::npos ? 0 : exponent_of(number.substr(e + 1));
    return point + exponent > static_cast<int64_t>(first);
}

double leading_double(std::string_view text) noexcept {
    text = number_start(text);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    // Overflow or underflow; comparing with 1 tells which.
    const std::string_view number(text.data(), static_cast<size_t>(end - text.data()));
    const double magnitude = is_whole(number) ? std::numeric_limits<double>::infinity() : 0.0;
    return text[0] == '-' ? -magnitude : magnitude;
}

} // namespace tarn
