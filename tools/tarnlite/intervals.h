// Intervals as readable text and as the counts on the wire: years, months, days, hours or minutes, and
// microseconds for every kind that ends in seconds. A text gives all fields of its kind: "3-04" (year-month),
// "2 03:04:05.5" (day to second), "04:05" (hour to minute), each with an optional leading sign. A number
// alone counts the kind's last field: "14" in INTERVAL YEAR TO MONTH is 14 months, 90 in INTERVAL DAY TO
// SECOND is 90 seconds.
#pragma once

#include "types.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnlite {

bool is_interval(WireType type);
// Whether counts of this kind are 64-bit microseconds on the wire rather than 32 bits.
bool counts_microseconds(WireType type);
// Nothing when the text does not fit the kind, or its count does not fit the kind's width.
std::optional<std::int64_t> interval_count(WireType type, std::string_view text);

} // namespace tarnlite
