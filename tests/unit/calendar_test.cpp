// Calendar arithmetic against a walk through every day of the calendar, one after the other.
#include <gtest/gtest.h>

#include "result/calendar.h"
#include "tarnsql.h"

using namespace tarn;

static bool is_leap(int32_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

static int32_t month_length(int32_t year, int32_t month) {
    constexpr int32_t lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap(year) ? 29 : lengths[month - 1];
}

TEST(calendar, every_day_from_year_0_to_10000_follows_the_day_before) {
    Date expected{0, 1, 1};
    for (int64_t day = -719528; expected.year <= 10000; ++day) {
        const Date date = date_of_days(day);
        ASSERT_EQ(date.year, expected.year) << day;
        ASSERT_EQ(date.month, expected.month) << day;
        ASSERT_EQ(date.day, expected.day) << day;
        if (++expected.day > month_length(expected.year, expected.month)) {
            expected.day = 1;
            if (++expected.month > 12) {
                expected.month = 1;
                ++expected.year;
            }
        }
    }
}

static std::string date_text(int64_t days) {
    const Date d = date_of_days(days);
    return std::to_string(d.year) + "-" + std::to_string(d.month) + "-" + std::to_string(d.day);
}

TEST(calendar, extreme_counts_keep_the_calendar) {
    EXPECT_EQ(date_text(INT32_MAX), "5881580-7-11");
    EXPECT_EQ(date_text(-719529), "-1-12-31");
    EXPECT_EQ(date_text(INT32_MIN), "-5877641-6-23");
}

TEST(calendar, time_of_day_truncates_and_date_time_rounds_down) {
    const TimeOfDay time = time_of_milliseconds(45296789);
    EXPECT_EQ(time.hour, 12);
    EXPECT_EQ(time.minute, 34);
    EXPECT_EQ(time.second, 56);
    EXPECT_EQ(time.millisecond, 789);
    EXPECT_EQ(time_of_milliseconds(100 * 3600 * 1000).hour, 100);
    const TimeOfDay negative = time_of_milliseconds(-3661001);
    EXPECT_EQ(negative.hour, -1);
    EXPECT_EQ(negative.minute, -1);
    EXPECT_EQ(negative.second, -1);
    EXPECT_EQ(negative.millisecond, -1);
    const DateTime before_epoch = date_time_of_milliseconds(-1);
    EXPECT_EQ(before_epoch.date.year, 1969);
    EXPECT_EQ(before_epoch.time.hour, 23);
    EXPECT_EQ(before_epoch.time.millisecond, 999);
}

TEST(calendar, dt2dtm_never_writes_beyond_twenty_bytes) {
    char text[32];
    for (const int64_t moment : {INT64_MIN, INT64_MAX, int64_t{-62167219200001}, int64_t{253402300800000}}) {
        std::fill(std::begin(text), std::end(text), 'x');
        EXPECT_EQ(dt2dtm_Api(moment, text), 0);
        EXPECT_LT(std::string_view(text).size(), 20U) << text;
        EXPECT_EQ(text[20], 'x');
    }
}
