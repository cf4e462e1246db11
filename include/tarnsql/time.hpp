// Dates, times and intervals: std::chrono types, and their text forms for the server.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ratio>
#include <string_view>
#include <type_traits>

#include "error.hpp"

namespace tarnsql {

/// Days, like std::chrono::days of C++20.
using days = std::chrono::duration<int64_t, std::ratio<86400>>;
/// Months, like std::chrono::months of C++20: an INTERVAL YEAR TO MONTH. Durations of months and years are
/// bound and read as INTERVAL YEAR TO MONTH, all others as INTERVAL DAY TO SECOND.
using months = std::chrono::duration<int32_t, std::ratio<2629746>>;
/// Years, like std::chrono::years of C++20.
using years = std::chrono::duration<int32_t, std::ratio<31556952>>;
/// A DATE: the day that begins then, in the proleptic Gregorian calendar. std::chrono::sys_days of C++20
/// works too.
using date = std::chrono::time_point<std::chrono::system_clock, days>;
/// A DATETIME, which has milliseconds and no zone. Any other time point of the system clock works too; finer
/// ones are rounded down to milliseconds when bound.
using moment = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// A TIME: the time since midnight, from 0 to less than 24 hours.
struct time_of_day {
    std::chrono::milliseconds since_midnight{}; ///< milliseconds since 00:00:00
    /// Equal times.
    friend constexpr bool operator==(time_of_day a, time_of_day b) {
        return a.since_midnight == b.since_midnight;
    }
    /// Different times.
    friend constexpr bool operator!=(time_of_day a, time_of_day b) { return !(a == b); }
};

/// A TIME WITH TIME ZONE.
struct zoned_time {
    std::chrono::milliseconds utc{}; ///< since midnight UTC; may be negative or 24 hours and more
    std::chrono::minutes zone{};     ///< east of UTC
};

/// A DATETIME WITH TIME ZONE.
struct zoned_moment {
    std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds> utc{}; ///< the moment
    std::chrono::minutes zone{}; ///< the offset it was written with, east of UTC
};

namespace detail {

// A short text, built in place.
class short_text {
  public:
    const char* data() const noexcept { return area_; }
    size_t size() const noexcept { return size_; }
    operator std::string_view() const noexcept { return {area_, size_}; }

    short_text& put(char c) noexcept {
        area_[size_++] = c;
        return *this;
    }
    // Zero-padded to a width.
    short_text& put(int64_t number, int width) noexcept {
        char digits[20];
        int count = 0;
        for (; number > 0 || count < width; number /= 10)
            digits[count++] = static_cast<char>('0' + number % 10);
        while (count > 0)
            put(digits[--count]);
        return *this;
    }

  private:
    char area_[64];
    size_t size_ = 0;
};

template <class T> inline constexpr bool is_duration = false;
template <class Rep, class Period>
inline constexpr bool is_duration<std::chrono::duration<Rep, Period>> = true;

// Months and years have no fixed number of seconds.
template <class Period>
inline constexpr bool counts_months =
    std::is_same_v<Period, months::period> || std::is_same_v<Period, years::period>;

[[noreturn]] inline void out_of_range(const char* what) {
    throw range_error(TRN_ERR_CONVERSION, what);
}

// Converts days to a date, by 400-year eras that begin on 1 March.
inline void put_date(short_text& text, int64_t day) {
    constexpr int64_t first = -719528, last = 2932896; // 0000-01-01 and 9999-12-31
    if (day < first || day > last) out_of_range("a date outside the years 0 to 9999");
    const int64_t shifted = day + 719468, era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const int64_t of_era = shifted - era * 146097;
    const int64_t year_of_era = (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
    const int64_t of_year = of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const int64_t shifted_month = (5 * of_year + 2) / 153;
    const int64_t month = shifted_month < 10 ? shifted_month + 3 : shifted_month - 9;
    const int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
    text.put(year, 4).put('-').put(month, 2).put('-').put(of_year - (153 * shifted_month + 2) / 5 + 1, 2);
}

// Microseconds as hours, minutes and seconds, with the given number of decimals; hours are not limited to 23.
inline void put_time(short_text& text, int64_t microseconds, bool with_microseconds) {
    const int64_t seconds = microseconds / 1000000, rest = microseconds % 1000000;
    text.put(seconds / 3600, 2).put(':').put(seconds / 60 % 60, 2).put(':').put(seconds % 60, 2).put('.');
    if (with_microseconds)
        text.put(rest, 6);
    else
        text.put(rest / 1000, 3);
}

inline void put_zone(short_text& text, std::chrono::minutes zone) {
    const int64_t minutes = zone.count();
    if (minutes <= -24 * 60 || minutes >= 24 * 60) out_of_range("a zone of a day or more");
    text.put(minutes < 0 ? '-' : '+').put(std::abs(minutes) / 60, 2).put(':').put(std::abs(minutes) % 60, 2);
}

constexpr int64_t floor_divide(int64_t value, int64_t by) noexcept {
    return value / by - (value % by < 0 ? 1 : 0);
}

inline short_text text_of_date(int64_t day) {
    short_text text;
    put_date(text, day);
    return text;
}

inline short_text text_of(time_of_day time) {
    constexpr int64_t day = 86400000;
    const int64_t count = time.since_midnight.count();
    if (count < 0 || count >= day) out_of_range("a time of day outside 0 to 24 hours");
    short_text text;
    put_time(text, count * 1000, false);
    return text;
}

inline short_text text_of(const zoned_time& time) {
    constexpr int64_t day = 86400000;
    const int64_t local = time.utc.count() + std::chrono::milliseconds(time.zone).count();
    short_text text;
    put_time(text, (local - floor_divide(local, day) * day) * 1000, false);
    put_zone(text, time.zone);
    return text;
}

inline short_text text_of(const zoned_moment& moment) {
    constexpr int64_t day = 86400000000;
    const int64_t local = (moment.utc + moment.zone).time_since_epoch().count();
    short_text text;
    put_date(text, floor_divide(local, day));
    text.put(' ');
    put_time(text, local - floor_divide(local, day) * day, true);
    put_zone(text, moment.zone);
    return text;
}

// "2 03:04:05.000006", with one leading sign.
inline short_text text_of_day_to_second(std::chrono::microseconds interval) {
    constexpr int64_t day = 86400000000;
    const int64_t count = interval.count();
    if (count == INT64_MIN) out_of_range("an interval that is too long");
    short_text text;
    if (count < 0) text.put('-');
    const int64_t size = std::abs(count);
    text.put(size / day, 1).put(' ');
    put_time(text, size % day, true);
    return text;
}

inline short_text text_of_year_to_month(int64_t count) {
    short_text text;
    if (count < 0) text.put('-');
    text.put(std::abs(count) / 12, 1).put('-').put(std::abs(count) % 12, 2);
    return text;
}

// A duration in another unit, rounded down; throws when the count does not fit.
template <class To, class Rep, class Period> To converted(std::chrono::duration<Rep, Period> from) {
    using ratio = std::ratio_divide<Period, typename To::period>;
    if constexpr (std::is_floating_point_v<Rep> || std::is_floating_point_v<typename To::rep>) {
        const auto exact = static_cast<long double>(from.count()) * ratio::num / ratio::den;
        if constexpr (!std::is_floating_point_v<typename To::rep>)
            if (!(exact >= -9.2e18L && exact <= 9.2e18L)) out_of_range("a time that is too long");
        return To(static_cast<typename To::rep>(exact));
    } else {
        const int64_t count = from.count();
        if (count > INT64_MAX / ratio::num || count < INT64_MIN / ratio::num)
            out_of_range("a time that is too long");
        const int64_t result = floor_divide(count * ratio::num, ratio::den);
        if (result != static_cast<int64_t>(static_cast<typename To::rep>(result)))
            out_of_range("a time out of range of the requested unit");
        return To(static_cast<typename To::rep>(result));
    }
}

} // namespace detail
} // namespace tarnsql
