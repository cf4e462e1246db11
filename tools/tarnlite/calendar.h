// Dates and times as readable ISO text and as counts from 1970-01-01, in the proleptic Gregorian calendar,
// including years before 0 and after 9999. The machine's time zone is never used.
// Texts: [+-]YYYY-MM-DD, HH:MM[:SS[.fraction]], both joined by a blank or "T", and a zone: "Z", +HH, +HHMM or
// +HH:MM. A fraction is truncated to the unit of the count.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

// The count is UTC: adding the zone gives the time in the text, so it may be outside 0 to 24 hours.
struct ZonedTime {
    std::int32_t milliseconds;
    std::int16_t zone_minutes;
};

struct ZonedDateTime {
    std::int64_t microseconds;
    std::int16_t zone_minutes;
};

std::optional<std::int32_t> days_of_date(std::string_view text);
std::optional<std::int32_t> milliseconds_of_time(std::string_view text);
std::optional<ZonedTime> zoned_time_of(std::string_view text); // no zone in the text: zone 0

// A date alone means its midnight.
std::optional<std::int64_t> milliseconds_of_datetime(std::string_view text);
std::optional<ZonedDateTime> zoned_datetime_of(std::string_view text);

std::string date_text(std::int64_t days);
// YYYY-MM-DD HH:MM:SS, and .mmm when there are milliseconds.
std::string datetime_text(std::int64_t milliseconds);

} // namespace tarnlite
