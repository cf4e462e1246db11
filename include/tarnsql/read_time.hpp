// Dates, times and intervals, read in binary form, not through text. Internal.
#pragma once

#include <chrono>
#include <type_traits>

#include "read_value.hpp"
#include "time.hpp"

namespace tarnsql::detail {

// The stored form of a value of this size.
template <class T> bool get_fixed(result_state& from, int32_t column, T& value) {
    return from.get(column, TRN_TYPE_NUMERIC, &value, sizeof value) == TRN_OK || !from.is_null(column);
}

// A big-endian number.
template <class T> T big_endian(const unsigned char* bytes) noexcept {
    std::make_unsigned_t<T> value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<std::make_unsigned_t<T>>(value << 8 | bytes[i]);
    return static_cast<T>(value);
}

// A count in UTC and a zone offset in minutes.
template <class T>
bool get_with_zone(result_state& from, int32_t column, T& count, std::chrono::minutes& zone) {
    constexpr int32_t size = sizeof(T) + 2;
    unsigned char bytes[size];
    int32_t end = size; // a piecewise read at the end succeeds with 0 bytes
    if (from.get(column, TRN_TYPE_BYTES_PIECEWISE, bytes, size, &end) != TRN_OK)
        return refuse(from, column, "has no zone");
    from.get(column, TRN_TYPE_NUMERIC, bytes, size);
    count = big_endian<T>(bytes);
    zone = std::chrono::minutes(big_endian<int16_t>(bytes + sizeof(T)));
    return true;
}

template <class Duration>
bool get_time_point(result_state& from, int32_t column,
                    std::chrono::time_point<std::chrono::system_clock, Duration>& value) {
    const auto give = [&](auto since) {
        value = std::chrono::time_point<std::chrono::system_clock, Duration>(converted<Duration>(since));
        return true;
    };
    switch (from.type(column)) {
    case TRN_TYPE_DATE: {
        int32_t count = 0;
        return get_fixed(from, column, count) && give(days(count));
    }
    case TRN_TYPE_DATETIME: {
        int64_t count = 0;
        return get_fixed(from, column, count) && give(std::chrono::milliseconds(count));
    }
    case TRN_TYPE_DATETIME_TZ: {
        int64_t count = 0;
        std::chrono::minutes zone;
        return get_with_zone(from, column, count, zone) && give(std::chrono::microseconds(count));
    }
    default: return refuse(from, column, "is not a date");
    }
}

inline bool get_year_to_month(result_state& from, int32_t column, int32_t& count) {
    if (from.type(column) != TRN_TYPE_INTERVAL_YEAR_TO_MONTH)
        return refuse(from, column, "does not count months");
    return get_fixed(from, column, count);
}

// Of the other intervals, those that end in seconds are recognised by their size; the library does not report
// the unit of the rest.
inline bool get_microseconds(result_state& from, int32_t column, int64_t& count) {
    switch (from.type(column)) {
    case TRN_TYPE_TIME: {
        int32_t milliseconds = 0;
        if (!get_fixed(from, column, milliseconds)) return false;
        count = int64_t{milliseconds} * 1000;
        return true;
    }
    case TRN_TYPE_INTERVAL_DAY_TO_SECOND: return get_fixed(from, column, count);
    case TRN_TYPE_INTERVAL: {
        int32_t length = 0;
        const int32_t status = from.get(column, TRN_TYPE_NUMERIC, &count, sizeof count, &length);
        if (status == TRN_OK && length == sizeof count) return true;
        return refuse(from, column, "has a unit that the library does not report: read its text");
    }
    default: return refuse(from, column, "is not an interval");
    }
}

template <class Rep, class Period>
bool get_duration(result_state& from, int32_t column, std::chrono::duration<Rep, Period>& value) {
    if constexpr (counts_months<Period>) {
        int32_t count = 0;
        if (!get_year_to_month(from, column, count)) return false;
        value = converted<std::chrono::duration<Rep, Period>>(months(count));
    } else {
        int64_t count = 0;
        if (!get_microseconds(from, column, count)) return false;
        value = converted<std::chrono::duration<Rep, Period>>(std::chrono::microseconds(count));
    }
    return true;
}

inline bool get_time_of_day(result_state& from, int32_t column, time_of_day& value) {
    if (from.type(column) != TRN_TYPE_TIME) return refuse(from, column, "is not a time of day");
    return get_duration(from, column, value.since_midnight);
}

inline bool get_zoned(result_state& from, int32_t column, zoned_time& value) {
    int32_t count = 0;
    if (from.type(column) != TRN_TYPE_TIME_TZ) return refuse(from, column, "is not a time with a zone");
    if (!get_with_zone(from, column, count, value.zone)) return false;
    value.utc = std::chrono::milliseconds(count);
    return true;
}

inline bool get_zoned(result_state& from, int32_t column, zoned_moment& value) {
    int64_t count = 0;
    if (from.type(column) != TRN_TYPE_DATETIME_TZ)
        return refuse(from, column, "is not a DATETIME WITH TIME ZONE");
    if (!get_with_zone(from, column, count, value.zone)) return false;
    value.utc = decltype(value.utc)(std::chrono::microseconds(count));
    return true;
}

} // namespace tarnsql::detail
