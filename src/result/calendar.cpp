#include "result/calendar.h"

#include "base/text.h"
#include "result/working_text.h"
#include "tarnsql.h"

namespace tarn {

static int64_t floor_divide(int64_t dividend, int64_t divisor) noexcept {
    const int64_t quotient = dividend / divisor;
    return quotient - (dividend % divisor < 0);
}

// Years are counted from 1 March here, so that a leap day ends its year and a month's start is a linear
// function. Everything is unsigned, because division by constants then takes fewer steps: whole cycles,
// enough for the smallest 64-bit millisecond count, are added first and subtracted at the end.
Date date_of_days(int64_t days) noexcept {
    constexpr int64_t days_from_march_0000 = 719468; // to 1970-01-01
    constexpr uint32_t days_in_cycle = 146097;       // 400 years
    constexpr uint64_t cycles_in_front = 1000000;
    const uint64_t counted =
        static_cast<uint64_t>(days + days_from_march_0000) + cycles_in_front * days_in_cycle;
    const uint64_t cycle = counted / days_in_cycle;
    const uint32_t day_of_cycle = static_cast<uint32_t>(counted - cycle * days_in_cycle);
    // Counted in quarters of a day, every century of the cycle is equally long, and so is every year of a
    // century: 1461 quarters. Five months from March on have 153 days. Both divisions are multiplications in
    // fixed point.
    const uint32_t quarters = 4 * day_of_cycle + 3;
    const uint32_t century = quarters / days_in_cycle;
    constexpr uint32_t reciprocal_of_year = 2939745; // 2^32 / 1461
    const uint64_t years = uint64_t{reciprocal_of_year} * (quarters % days_in_cycle | 3);
    const uint32_t day_of_year = static_cast<uint32_t>(years) / reciprocal_of_year / 4;
    constexpr uint32_t reciprocal_of_day = 2141;                      // 2^16 * 5 / 153
    const uint32_t months = reciprocal_of_day * day_of_year + 197913; // offset by 3 months and a fraction
    const bool ends_in_next = day_of_year >= 306;                     // January and February
    const uint32_t month = (months >> 16) - 12 * ends_in_next;
    const uint32_t day = (months & 0xFFFF) / reciprocal_of_day + 1;
    const int64_t year = static_cast<int64_t>(cycle - cycles_in_front) * 400 + 100 * century +
                         static_cast<uint32_t>(years >> 32) + ends_in_next;
    return {static_cast<int32_t>(year), static_cast<int32_t>(month), static_cast<int32_t>(day)};
}

TimeOfDay time_of_milliseconds(int32_t milliseconds) noexcept {
    const int32_t seconds = milliseconds / 1000;
    return {seconds / 3600, seconds % 3600 / 60, seconds % 60, milliseconds % 1000};
}

DateTime date_time_of_milliseconds(int64_t milliseconds) noexcept {
    constexpr int64_t milliseconds_in_day = 86400000;
    int64_t within_day = milliseconds % milliseconds_in_day;
    if (within_day < 0) within_day += milliseconds_in_day;
    return {date_of_days(floor_divide(milliseconds, milliseconds_in_day)),
            time_of_milliseconds(static_cast<int32_t>(within_day))};
}

} // namespace tarn

using namespace tarn;

int32_t dt2dtm_Api(int64_t milliseconds, char* text) {
    if (!text) return TRN_ERR_ARGUMENT;
    constexpr size_t text_size = 20;
    WorkingText moment;
    moment.add_date_time(date_time_of_milliseconds(milliseconds));
    copy_to_field(text, text_size, moment.text());
    return TRN_OK;
}
