// Calendar arithmetic against a walk through every day of the calendar, one after the other.
#include <gtest/gtest.h>

#include "result/calendar.h"

using namespace tarn;

static int32_t month_length(int32_t year, int32_t month) {
    constexpr int32_t lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : lengths[month - 1];
}

static std::string date_text(const Date& date) {
    return std::to_string(date.year) + "-" + std::to_string(date.month) + "-" + std::to_string(date.day);
}

TEST(calendar, every_day_from_year_0_to_10000_follows_the_day_before) {
    int64_t day = -719528;
    for (int32_t year = 0; year <= 10000; ++year)
        for (int32_t month = 1; month <= 12; ++month)
            for (int32_t number = 1; number <= month_length(year, month); ++number) {
                const Date date = date_of_days(day++);
                ASSERT_TRUE(date.year == year && date.month == month && date.day == number) << day;
            }
}

TEST(calendar, extreme_counts_keep_the_calendar) {
    EXPECT_EQ(date_text(date_of_days(INT32_MAX)), "5881580-7-11");
    EXPECT_EQ(date_text(date_of_days(-719529)), "-1-12-31");
    EXPECT_EQ(date_text(date_of_days(INT32_MIN)), "-5877641-6-23");
}
