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

void print_line(const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stdout, format, arguments);
    va_end(arguments);
    std::fflush(stdout);
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

int32_t leading_int32(std::string_view text) noexcept {
    text = number_start(text);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
        value = text[0] == '-' ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    return static_cast<int32_t>(value);
}

double leading_double(std::string_view text) noexcept {
    text = number_start(text);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    // Out of range is an overflow unless every significant digit lies behind the point or the exponent is negative.
    const bool negative = text[0] == '-';
    const std::string_view matched(text.data(), static_cast<size_t>(end - text.data()));
    const size_t exponent = matched.find_first_of("eE");
    const size_t digit = matched.find_first_of("123456789");
    const bool tiny = exponent != std::string_view::npos
                          ? matched.find('-', exponent) != std::string_view::npos
                          : digit > matched.find('.');
    const double magnitude = tiny ? 0.0 : std::numeric_limits<double>::infinity();
    return negative ? -magnitude : magnitude;
}

} // namespace tarn
