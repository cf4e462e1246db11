// Counts from 1970-01-01 to calendar fields: proleptic Gregorian calendar, no time zones.
#pragma once

#include <cstdint>

namespace tarn {

struct Date {
    int32_t year;
    int32_t month; // 1..12
    int32_t day;   // 1..31
};

struct TimeOfDay {
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
};

struct DateTime {
    Date date;
    TimeOfDay time;
};

// Days since 1970-01-01, within the range of 64-bit milliseconds.
Date date_of_days(int64_t days) noexcept;

// Milliseconds since midnight. Divisions truncate toward zero, so that a negative count gives negative
// fields, and hours do not wrap at 24.
TimeOfDay time_of_milliseconds(int32_t milliseconds) noexcept;

// Milliseconds since 1970-01-01 00:00:00. Divisions round down, unlike those of the time of day: -1 is the
// last millisecond of 1969.
DateTime date_time_of_milliseconds(int64_t milliseconds) noexcept;

} // namespace tarn
