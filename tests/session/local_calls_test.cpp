/*
 * The calls that need neither server nor handle: statement classes and moments as text.
 */
#include "session_fixture.h"

namespace {

TEST(fun_sql_type, classifies_by_the_first_word) {
    // clang-format off
    const std::pair<std::int32_t, std::vector<const char*>> classes[] = {
        {4, {"select 1", "  \r\n SELECT 1", "sElEcT", "selectx", "select 1;", "select 1;    ", "select 1;abcd", "select 1;;",
             "STC1", "  STC", "STCx;delete from t"}},
        {9, {"selec", "", "   ", "\tselect 1", "(select 1)", "/* x */ select 1", "\vselect 1", "select 1;     ", "select 1; abcd",
             "select ';'; delete from t", "select 1;2;delete from t", "merge\ninto", "merge", "repla", "updat", "alter\ttable",
             "alter", "exec", "exec\np", "execu", "stc1", "Stc", "ST", "drop table t", ";select 1", "\xffselect"}},
        {1, {"insert into t", "INSERT", "insertion", "merge into", "replace into", "replacement", "replac"}}, {2, {"update t"}},
        {3, {"Delete from t"}}, {5, {"create table t"}}, {6, {"ALTER table"}}, {10, {"exec p", "EXECUTE p", "execut"}},
    };
    // clang-format on
    for (const auto& [kind, texts] : classes) {
        for (const char* text : texts)
            EXPECT_EQ(fun_sql_type(text), kind) << text;
    }
}

TEST(dt2dtm_Api, writes_moments_of_the_proleptic_calendar) {
    constexpr std::int64_t day = 86400000;
    // clang-format off
    const std::pair<std::int64_t, const char*> rows[] = {
        {0, "1970-01-01 00:00:00"}, {-1, "1969-12-31 23:59:59"}, {999, "1970-01-01 00:00:00"}, {-1000, "1969-12-31 23:59:59"},
        {-1001, "1969-12-31 23:59:58"}, {day - 1, "1970-01-01 23:59:59"}, {789 * day + 45296789, "1972-02-29 12:34:56"},
        {11016 * day, "2000-02-29 00:00:00"}, {-25508 * day, "1900-03-01 00:00:00"}, {-719528 * day, "0000-01-01 00:00:00"},
        {-719469 * day, "0000-02-29 00:00:00"}, {2932897 * day - 1, "9999-12-31 23:59:59"},
        {2932897 * day, "10000-01-01 00:00:0"}, {INT64_MAX, "292278994-08-17 07:"},
    };
    // clang-format on
    for (const auto& [moment, expected] : rows) {
        std::string text(40, '.');
        EXPECT_EQ(dt2dtm_Api(moment, text.data()), 0);
        EXPECT_STREQ(text.c_str(), expected);
        EXPECT_EQ(text.substr(20), std::string(20, '.'));
    }
    std::string earliest(40, '.');
    EXPECT_EQ(dt2dtm_Api(INT64_MIN, earliest.data()), 0);
    EXPECT_EQ(earliest.substr(20), std::string(20, '.'));
}

} // namespace
