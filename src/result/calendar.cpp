#include "result/calendar.h"

#include "base/text.h"
#include "result/working_text.h"
#include "tarnsql.h"

namespace tarn {

static int64_t floor_divide(int64_t dividend, int64_t divisor) noexcept {
    const int64_t quotient = dividend / divisor;
    return quotient - (dividend % divisor < 0);
}

// Years are counted from 1 March here, so that a leap day ends its year and a month's start is a linear function.
Date date_of_days(int64_t days) noexcept {
    constexpr int64_t days_from_march_0000 = 719468; // to 1970-01-01
    constexpr int64_t days_in_cycle = 146097;        // 400 years
    days += days_from_march_0000;
    const int64_t cycle = floor_divide(days, days_in_cycle);
    const int32_t day_of_cycle = static_cast<int32_t>(days - cycle * days_in_cycle);
    // Take out the leap days of 4, 100 and 400 years, and every year of the cycle has 365 days.
    const int32_t year_of_cycle =
        (day_of_cycle - day_of_cycle / 1460 + day_of_cycle / 36524 - day_of_cycle / 146096) / 365;
    const int32_t day_of_year =
        day_of_cycle - (365 * year_of_cycle + year_of_cycle / 4 - year_of_cycle / 100);
    const int32_t month_from_march = (5 * day_of_year + 2) / 153;
    const int32_t day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
    const int32_t month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
    const int64_t year = cycle * 400 + year_of_cycle + (month <= 2);
    return {static_cast<int32_t>(year), month, day};
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
