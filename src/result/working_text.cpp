#include "result/working_text.h"

#include <cmath>

namespace tarn {

// Two digits; value is below 100.
static void put_pair(char* to, unsigned value) noexcept {
    static constexpr char pairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    std::memcpy(to, pairs + 2 * value, 2);
}

void WorkingText::add_padded(int64_t value, int width) noexcept {
    if (width == 2 && static_cast<uint64_t>(value) < 100)
        if (char* to = add_room(2)) return put_pair(to, static_cast<unsigned>(value));
    char digits[24];
    const bool negative = value < 0;
    const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    const auto count = std::to_chars(digits, digits + sizeof digits, magnitude).ptr - digits;
    if (negative) add('-');
    for (auto zeros = width - negative - count; zeros > 0; --zeros)
        add('0');
    add({digits, static_cast<size_t>(count)});
}

void WorkingText::add_number(double value, std::chars_format format, int precision) noexcept {
    const auto [end, error] = std::to_chars(area_ + length_, area_ + capacity, value, format, precision);
    if (error == std::errc{}) {
        length_ = static_cast<size_t>(end - area_);
        return;
    }
    // Longer than the working text: the largest double has 309 digits before the point.
    char whole[400];
    add({whole, static_cast<size_t>(std::to_chars(whole, whole + sizeof whole, value, format, precision).ptr -
                                    whole)});
}

// The number of digits of "%.0f", without the sign. Only 1 to 15 matter: for more, any number above 15 will
// do.
static int whole_digits(double value) noexcept {
    const double magnitude = std::fabs(value);
    if (!(magnitude < 1e15)) return std::isfinite(value) ? 16 : 3; // "inf" and "nan" have three characters
    uint64_t whole = static_cast<uint64_t>(magnitude);
    const double fraction = magnitude - static_cast<double>(whole);
    whole += fraction > 0.5 || (fraction == 0.5 && whole % 2 == 1);
    int digits = 1;
    for (; whole >= 10; whole /= 10)
        ++digits;
    return digits;
}

void WorkingText::add_double(double value) noexcept {
    const int digits = whole_digits(value);
    add_fixed(value, digits <= 15 ? 16 - digits : 6);
}

// Real dates and times have fixed widths; those of a hostile server may be wider.
void WorkingText::add_date(const Date& date) noexcept {
    const unsigned year = static_cast<unsigned>(date.year);
    if (char* to = year < 10000 ? add_room(10) : nullptr) {
        put_pair(to, year / 100);
        put_pair(to + 2, year % 100);
        to[4] = to[7] = '-';
        put_pair(to + 5, static_cast<unsigned>(date.month));
        return put_pair(to + 8, static_cast<unsigned>(date.day));
    }
    add_padded(date.year, 4);
    add('-');
    add_padded(date.month, 2);
    add('-');
    add_padded(date.day, 2);
}

void WorkingText::add_time(const TimeOfDay& time) noexcept {
    const bool fields_have_two_digits =
        static_cast<unsigned>(time.hour) < 100 && time.minute >= 0 && time.second >= 0;
    if (char* to = fields_have_two_digits ? add_room(8) : nullptr) {
        put_pair(to, static_cast<unsigned>(time.hour));
        to[2] = to[5] = ':';
        put_pair(to + 3, static_cast<unsigned>(time.minute));
        return put_pair(to + 6, static_cast<unsigned>(time.second));
    }
    add_padded(time.hour, 2);
    add(':');
    add_padded(time.minute, 2);
    add(':');
    add_padded(time.second, 2);
}

void WorkingText::add_date_time(const DateTime& when) noexcept {
    add_date(when.date);
    add(' ');
    add_time(when.time);
}

} // namespace tarn
