#include "value_text.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace tarnsh {

namespace {

constexpr std::int64_t ms_per_day = 86'400'000;

constexpr auto digit_pairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t n = 0; n < 100; ++n) {
        pairs[2 * n] = static_cast<char>('0' + n / 10);
        pairs[2 * n + 1] = static_cast<char>('0' + n % 10);
    }
    return pairs;
}();

constexpr auto hex_pairs = [] {
    constexpr std::string_view digits = "0123456789abcdef";
    std::array<char, 512> pairs{};
    for (std::size_t n = 0; n < 256; ++n) {
        pairs[2 * n] = digits[n / 16];
        pairs[2 * n + 1] = digits[n % 16];
    }
    return pairs;
}();

void put_two(unsigned number, char* out) {
    std::memcpy(out, digit_pairs.data() + 2 * static_cast<std::size_t>(number), 2);
}

} // namespace

// The digits of a number below 100,000,000, a byte each, the first in the lowest byte. Each step splits all
// parts in halves at once.
static inline std::uint64_t eight_digits(std::uint32_t number) {
    const std::uint64_t fours = number / 10'000 | std::uint64_t{number % 10'000} << 32;
    const std::uint64_t hundreds = (fours * 10'486 >> 20) & 0x7F'0000'007F;
    const std::uint64_t twos = hundreds | (fours - 100 * hundreds) << 16;
    const std::uint64_t tens = (twos * 103 >> 10) & 0xF'000F'000F'000F;
    return tens | (twos - 10 * tens) << 8;
}

static inline void put_digits(std::uint64_t digits, char* out) {
    digits |= 0x3030'3030'3030'3030;
    if constexpr (std::endian::native == std::endian::big) digits = __builtin_bswap64(digits);
    std::memcpy(out, &digits, 8);
}

// Writes a number without leading zeros and returns its end; eight bytes are written.
static inline char* put_short(std::uint32_t number, char* out) {
    if (number < 10) {
        *out = static_cast<char>('0' + number);
        return out + 1;
    }
    const std::uint64_t digits = eight_digits(number);
    const int zeros = std::countr_zero(digits | std::uint64_t{1} << 56) / 8;
    put_digits(digits >> 8 * zeros, out);
    return out + 8 - zeros;
}

static char* put_number(std::uint64_t number, char* out) {
    constexpr std::uint64_t eight = 100'000'000;
    if (number < eight) return put_short(static_cast<std::uint32_t>(number), out);
    out = put_number(number / eight, out);
    put_digits(eight_digits(static_cast<std::uint32_t>(number % eight)), out);
    return out + 8;
}

std::size_t write_integer(std::int64_t number, char* out) {
    const auto bits = static_cast<std::uint64_t>(number);
    char* at = out;
    if (number < 0) *at++ = '-';
    return static_cast<std::size_t>(put_number(number < 0 ? 0 - bits : bits, at) - out);
}

// Most numbers have a few decimals. One that is a whole number of millionths, of 15 digits at most, is the
// only such decimal that reads back as the same double: without its last zeros it is the shortest. 0 for
// other numbers.
static std::size_t write_millionths(double number, char* out) {
    const double size = std::fabs(number), scaled = size * 1e6;
    if (!(size >= 1e-4 && scaled < 1e15)) return 0;
    // The division tells when this is not the nearest.
    const auto millionths = static_cast<std::uint64_t>(scaled + 0.5); // NOLINT(bugprone-incorrect-roundings)
    if (static_cast<double>(millionths) / 1e6 != size) return 0;
    char* at = out;
    if (number < 0) *at++ = '-';
    at = put_number(millionths / 1'000'000, at);
    const std::uint64_t digits = eight_digits(static_cast<std::uint32_t>(millionths % 1'000'000)) >> 16;
    if (digits == 0) return static_cast<std::size_t>(at - out);
    *at = '.';
    put_digits(digits, at + 1);
    return static_cast<std::size_t>(at - out) + 9 - static_cast<std::size_t>(std::countl_zero(digits)) / 8;
}

std::size_t write_real(double number, char* out) {
    if (const std::size_t length = write_millionths(number, out)) return length;
    return static_cast<std::size_t>(fmt::format_to(out, FMT_COMPILE("{}"), number) - out);
}

std::size_t write_real(float number, char* out) {
    return static_cast<std::size_t>(fmt::format_to(out, FMT_COMPILE("{}"), number) - out);
}

// The proleptic Gregorian calendar, in years that begin on the first of March. Four years have 1461 days, and
// 2939745 is 2^32/1461: the year is above bit 32 of that product, and the fraction of a year below.
std::size_t write_date(std::int32_t days, char* out) {
    const std::int64_t from_march = std::int64_t{days} + 719'468;
    if (from_march < 306 || from_march > 3'652'364) return 0; // before year 0 is over, or past 9999
    const std::uint32_t quarters = 4 * static_cast<std::uint32_t>(from_march) + 3;
    const std::uint32_t century = quarters / 146'097;
    const std::uint64_t years = std::uint64_t{2'939'745} * (quarters % 146'097 | 3);
    const std::uint32_t of_year = static_cast<std::uint32_t>(years) / 2'939'745 / 4;
    const std::uint32_t month_day = 2141 * of_year + 197'913; // 65536/2141 is a month's average
    const bool next_year = of_year >= 306;
    const std::uint32_t year = 100 * century + static_cast<std::uint32_t>(years >> 32) + (next_year ? 1 : 0);
    put_two(year / 100, out);
    put_two(year % 100, out + 2);
    out[4] = out[7] = '-';
    put_two((month_day >> 16) - (next_year ? 12 : 0), out + 5);
    put_two((month_day & 0xFFFF) / 2141 + 1, out + 8);
    return 10;
}

std::size_t write_date_time(std::int64_t milliseconds, char* out) {
    std::int64_t days = milliseconds / ms_per_day, rest = milliseconds % ms_per_day;
    if (rest < 0) {
        rest += ms_per_day;
        --days;
    }
    if (days < -1'000'000 || days > 10'000'000 || write_date(static_cast<std::int32_t>(days), out) == 0)
        return 0;
    const auto of_day = static_cast<unsigned>(rest);
    out[10] = ' ';
    put_two(of_day / 3'600'000, out + 11);
    put_two(of_day / 60'000 % 60, out + 14);
    put_two(of_day / 1000 % 60, out + 17);
    out[13] = out[16] = ':';
    const unsigned fraction = of_day % 1000;
    if (fraction == 0) return 19;
    out[19] = '.';
    out[20] = static_cast<char>('0' + fraction / 100);
    put_two(fraction % 100, out + 21);
    return 23;
}

void add_hex(std::string_view bytes, bool first, std::string& out) {
    if (first) out += "0x";
    const std::size_t begin = out.size();
    out.resize(begin + 2 * bytes.size());
    char* at = out.data() + begin;
    for (const char c : bytes) {
        std::memcpy(at, hex_pairs.data() + 2 * static_cast<std::size_t>(static_cast<unsigned char>(c)), 2);
        at += 2;
    }
}

} // namespace tarnsh
