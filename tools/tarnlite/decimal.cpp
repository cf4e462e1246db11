#include "decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>

namespace tarnlite {

namespace {

constexpr int largest_exponent = 400;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

std::string take_digits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), is_digit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    std::string digits(text.substr(0, count));
    text.remove_prefix(count);
    return digits;
}

// The exponent at the front of the text, 0 for an empty text.
std::optional<int> whole_exponent(std::string_view text) {
    if (text.empty()) return 0;
    if (text.front() != 'e' && text.front() != 'E') return std::nullopt;
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    int exponent = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (exponent > largest_exponent || exponent < -largest_exponent) return std::nullopt;
    return exponent;
}

// Moves the point between the two runs of digits by the exponent.
void shift_point(std::string& whole, std::string& fraction, int exponent) {
    const auto distance = static_cast<std::size_t>(std::abs(exponent));
    if (exponent > 0) {
        if (fraction.size() < distance) fraction.append(distance - fraction.size(), '0');
        whole += fraction.substr(0, distance);
        fraction.erase(0, distance);
    } else if (exponent < 0) {
        if (whole.size() < distance) whole.insert(0, distance - whole.size(), '0');
        fraction.insert(0, whole.substr(whole.size() - distance));
        whole.erase(whole.size() - distance);
    }
}

// Adds one to the last digit of the run; a carry out of the front adds a digit.
void increment(std::string& digits) {
    for (std::size_t i = digits.size(); i-- > 0;) {
        if (digits[i] != '9') {
            ++digits[i];
            return;
        }
        digits[i] = '0';
    }
    digits.insert(0, 1, '1');
}

void round_to(std::string& whole, std::string& fraction, std::size_t scale) {
    if (fraction.size() <= scale) {
        fraction.append(scale - fraction.size(), '0');
        return;
    }
    const bool up = fraction[scale] >= '5';
    std::string digits = whole + fraction.substr(0, scale);
    if (up) increment(digits);
    whole = digits.substr(0, digits.size() - scale);
    fraction = digits.substr(digits.size() - scale);
}

} // namespace

std::optional<std::string> plain_decimal(std::string_view number, std::optional<int> scale) {
    const bool negative = !number.empty() && number.front() == '-';
    if (negative || (!number.empty() && number.front() == '+')) number.remove_prefix(1);
    std::string whole = take_digits(number);
    std::string fraction;
    if (!number.empty() && number.front() == '.') {
        number.remove_prefix(1);
        fraction = take_digits(number);
    }
    if (whole.empty() && fraction.empty()) return std::nullopt;
    const auto exponent = whole_exponent(number);
    if (!exponent) return std::nullopt;

    shift_point(whole, fraction, *exponent);
    if (scale) round_to(whole, fraction, static_cast<std::size_t>(*scale));
    whole.erase(0, whole.find_first_not_of('0'));
    const bool zero = whole.empty() && fraction.find_first_not_of('0') == std::string::npos;
    if (whole.empty()) whole.push_back('0');
    return fmt::format("{}{}{}{}", negative && !zero ? "-" : "", whole, fraction.empty() ? "" : ".",
                       fraction);
}

} // namespace tarnlite
