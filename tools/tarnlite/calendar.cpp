#include "calendar.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace tarnlite {

namespace {

constexpr std::int64_t epoch_day = 719'528; // 1970-01-01, counted from 0000-01-01
constexpr std::int64_t day_ms = 86'400'000;
constexpr std::int64_t day_us = day_ms * 1000;
constexpr std::int64_t minute_us = 60'000'000;

std::int64_t floor_div(std::int64_t value, std::int64_t by) {
    return value / by - (value % by < 0 ? 1 : 0);
}

bool is_leap(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int days_before_month(std::int64_t year, int month) {
    static constexpr std::array<int, 13> common{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    return common.at(static_cast<std::size_t>(month - 1)) + (month > 2 && is_leap(year) ? 1 : 0);
}

// The day number of 1 January, counted from 0000-01-01: one extra day for each leap year before it.
std::int64_t first_day_of_year(std::int64_t year) {
    return 365 * year + floor_div(year + 3, 4) - floor_div(year + 99, 100) + floor_div(year + 399, 400);
}

// Reads a text from its front; every reader reports whether it found a match, and advances only then.
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool at_end() const { return rest_.empty(); }
    char peek() const { return rest_.empty() ? '\0' : rest_.front(); }

    bool symbol(char wanted) {
        if (peek() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }

    std::optional<std::int64_t> number(std::size_t fewest, std::size_t most) {
        std::int64_t value = 0;
        std::size_t digits = 0;
        while (digits < most && digits < rest_.size() && rest_[digits] >= '0' && rest_[digits] <= '9') {
            value = value * 10 + (rest_[digits++] - '0');
        }
        if (digits < fewest) return std::nullopt;
        rest_.remove_prefix(digits);
        return value;
    }

    std::optional<std::int64_t> two_digits_up_to(std::int64_t largest) {
        const auto value = number(2, 2);
        return value && *value <= largest ? value : std::nullopt;
    }

    // The digits after the point as microseconds; digits past the sixth are dropped.
    std::optional<std::int64_t> fraction_us() {
        std::int64_t value = 0;
        std::size_t digits = 0;
        for (; peek() >= '0' && peek() <= '9'; ++digits) {
            if (digits < 6) value = value * 10 + (peek() - '0');
            rest_.remove_prefix(1);
        }
        if (digits == 0) return std::nullopt;
        for (; digits < 6; ++digits)
            value *= 10;
        return value;
    }

  private:
    std::string_view rest_;
};

std::optional<std::int64_t> read_date(Reader& in) {
    const bool before_zero = in.symbol('-');
    if (!before_zero) in.symbol('+');
    auto year = in.number(4, 7);
    if (!year || !in.symbol('-')) return std::nullopt;
    if (before_zero) year = -*year;
    const auto month = in.two_digits_up_to(12);
    if (!month || *month == 0 || !in.symbol('-')) return std::nullopt;
    const int month_number = static_cast<int>(*month);
    const int start = days_before_month(*year, month_number);
    const int length = days_before_month(*year, month_number + 1) - start;
    const auto day = in.two_digits_up_to(length);
    if (!day || *day == 0) return std::nullopt;
    return first_day_of_year(*year) - epoch_day + start + *day - 1;
}

std::optional<std::int64_t> read_time_us(Reader& in) {
    const auto hour = in.two_digits_up_to(23);
    if (!hour || !in.symbol(':')) return std::nullopt;
    const auto minute = in.two_digits_up_to(59);
    if (!minute) return std::nullopt;
    std::int64_t total = (*hour * 60 + *minute) * minute_us;
    if (!in.symbol(':')) return total;
    const auto second = in.two_digits_up_to(59);
    if (!second) return std::nullopt;
    total += *second * 1'000'000;
    if (!in.symbol('.')) return total;
    const auto fraction = in.fraction_us();
    if (!fraction) return std::nullopt;
    return total + *fraction;
}

// Zone minutes; none at all reads as 0.
std::optional<std::int16_t> read_zone(Reader& in) {
    in.symbol(' ');
    if (in.at_end() || in.symbol('Z') || in.symbol('z')) return std::int16_t{0};
    const bool west = in.symbol('-');
    if (!west && !in.symbol('+')) return std::nullopt;
    const auto hours = in.two_digits_up_to(18);
    if (!hours) return std::nullopt;
    std::int64_t minutes = 0;
    if (in.symbol(':') || !in.at_end()) {
        const auto read = in.two_digits_up_to(59);
        if (!read) return std::nullopt;
        minutes = *read;
    }
    const std::int64_t offset = *hours * 60 + minutes;
    return static_cast<std::int16_t>(west ? -offset : offset);
}

struct Moment {
    std::int64_t days;
    std::int64_t time_us;
};

std::optional<Moment> read_moment(Reader& in) {
    const auto days = read_date(in);
    if (!days) return std::nullopt;
    if (in.at_end()) return Moment{*days, 0};
    if (!in.symbol(' ') && !in.symbol('T') && !in.symbol('t')) return std::nullopt;
    const auto time = read_time_us(in);
    if (!time) return std::nullopt;
    return Moment{*days, *time};
}

} // namespace

std::optional<std::int32_t> days_of_date(std::string_view text) {
    Reader in(text);
    const auto days = read_date(in);
    if (!days || !in.at_end()) return std::nullopt;
    if (*days < std::numeric_limits<std::int32_t>::min() ||
        *days > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*days);
}

std::optional<std::int32_t> milliseconds_of_time(std::string_view text) {
    Reader in(text);
    const auto time = read_time_us(in);
    if (!time || !in.at_end()) return std::nullopt;
    return static_cast<std::int32_t>(*time / 1000);
}

std::optional<ZonedTime> zoned_time_of(std::string_view text) {
    Reader in(text);
    const auto time = read_time_us(in);
    if (!time) return std::nullopt;
    const auto zone = read_zone(in);
    if (!zone || !in.at_end()) return std::nullopt;
    return ZonedTime{static_cast<std::int32_t>(*time / 1000 - *zone * 60'000), *zone};
}

std::optional<std::int64_t> milliseconds_of_datetime(std::string_view text) {
    Reader in(text);
    const auto moment = read_moment(in);
    if (!moment || !in.at_end()) return std::nullopt;
    return moment->days * day_ms + moment->time_us / 1000;
}

std::optional<ZonedDateTime> zoned_datetime_of(std::string_view text) {
    constexpr std::int64_t furthest_day = 106'000'000; // keeps the count of microseconds within 64 bits
    Reader in(text);
    const auto moment = read_moment(in);
    if (!moment || std::abs(moment->days) > furthest_day) return std::nullopt;
    const auto zone = read_zone(in);
    if (!zone || !in.at_end()) return std::nullopt;
    return ZonedDateTime{moment->days * day_us + moment->time_us - *zone * minute_us, *zone};
}

std::string date_text(std::int64_t days) {
    const std::int64_t day = days + epoch_day;
    std::int64_t year = floor_div(day * 400, 146'097);
    while (first_day_of_year(year) > day)
        --year;
    while (first_day_of_year(year + 1) <= day)
        ++year;
    const auto day_of_year = static_cast<int>(day - first_day_of_year(year));
    int month = 12;
    while (days_before_month(year, month) > day_of_year)
        --month;
    const int day_of_month = day_of_year - days_before_month(year, month) + 1;
    return fmt::format("{}{:04}-{:02}-{:02}", year < 0 ? "-" : "", std::abs(year), month, day_of_month);
}

std::string datetime_text(std::int64_t milliseconds) {
    const std::int64_t days = floor_div(milliseconds, day_ms);
    const std::int64_t rest = (milliseconds % day_ms + day_ms) % day_ms;
    std::string text = fmt::format("{} {:02}:{:02}:{:02}", date_text(days), rest / 3'600'000,
                                   rest / 60'000 % 60, rest / 1000 % 60);
    if (rest % 1000 != 0) text += fmt::format(".{:03}", rest % 1000);
    return text;
}

} // namespace tarnlite
