// Declared types and the wire form of values, against counts computed elsewhere.

#include "calendar.h"
#include "types.h"
#include "values.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

using namespace std::string_literals;
using tarnlite::Value;
using tarnlite::WireType;

namespace {

Value text(std::string_view content) {
    Value value;
    value.kind = Value::Kind::text;
    value.bytes = content;
    return value;
}

Value integer(std::int64_t number) {
    Value value;
    value.kind = Value::Kind::integer;
    value.integer = number;
    return value;
}

Value real(double number) {
    Value value;
    value.kind = Value::Kind::real;
    value.real = number;
    return value;
}

// The value's bytes in a column declared so, without their length, or nothing when the value is refused.
std::optional<std::string> wire(std::string_view declaration, const Value& value) {
    const auto type = tarnlite::declared_type(declaration);
    std::string row;
    if (!type || !tarnlite::append_value(row, *type, value)) {
        EXPECT_TRUE(row.empty()) << declaration;
        return std::nullopt;
    }
    EXPECT_EQ(row.substr(0, 4), ("\0\0\0"s + static_cast<char>(row.size() - 4))) << declaration;
    return row.substr(4);
}

std::optional<std::int64_t> count(std::string_view declaration, const Value& value) {
    const auto bytes = wire(declaration, value);
    if (!bytes) return std::nullopt;
    std::uint64_t bits = (*bytes)[0] < 0 ? ~std::uint64_t{0} : 0;
    for (const char c : *bytes)
        bits = bits << 8 | static_cast<unsigned char>(c);
    return static_cast<std::int64_t>(bits);
}

} // namespace

TEST(tarnlite_types, declared_names_give_wire_type_and_modifier) {
    const struct {
        std::string_view declaration;
        std::uint32_t wire;
        std::uint32_t modifier;
    } cases[] = {
        {"Boolean", 2, 0},
        {"TINYINT", 3, 0},
        {"SmallInt", 4, 0},
        {"int", 5, 0},
        {"bigint(20)", 6, 20},
        {"NUMERIC(10,2)", 7, 10U << 16 | 2},
        {"decimal ( 5 )", 7, 5U << 16},
        {"float", 8, 0},
        {"double  precision", 9, 0},
        {"date", 10, 0},
        {"time(3)", 11, 3},
        {"time with time zone", 12, 0},
        {"timestamp", 13, 0},
        {"\"TIMESTAMP(6) WITH TIME ZONE\"", 14, 6},
        {"interval year", 15, 0},
        {"INTERVAL YEAR \"TO\" MONTH", 16, 0},
        {"interval month", 17, 0},
        {"interval day", 18, 0},
        {"interval day \"to\" hour", 19, 0},
        {"interval hour", 20, 0},
        {"interval day to minute", 21, 0},
        {"interval hour to minute", 22, 0},
        {"interval minute", 23, 0},
        {"interval day to second(6)", 24, 6},
        {"interval hour to second", 25, 0},
        {"interval minute to second", 26, 0},
        {"interval second", 27, 0},
        {"opaque", 29, 0},
        {"varchar(20)", 30, 20},
        {"clob", 32, 0},
        {"varbinary(4)", 33, 4},
        {"blob", 34, 0},
    };
    for (const auto& c : cases) {
        const auto type = tarnlite::declared_type(c.declaration);
        ASSERT_TRUE(type) << c.declaration;
        EXPECT_EQ(static_cast<std::uint32_t>(type->wire), c.wire) << c.declaration;
        EXPECT_EQ(type->modifier, c.modifier) << c.declaration;
    }
    EXPECT_FALSE(tarnlite::declared_type("geometry"));
    EXPECT_FALSE(tarnlite::declared_type(""));
    EXPECT_TRUE(tarnlite::declared_type("char(99999999999999)"));
    EXPECT_TRUE(tarnlite::declared_type("varchar(2 char)"));
    EXPECT_FALSE(tarnlite::declared_type(")char("));
}

TEST(tarnlite_values, whole_numbers_keep_their_width_and_range) {
    EXPECT_EQ(wire("tinyint", integer(-128)), "\x80"s);
    EXPECT_EQ(wire("smallint", integer(258)), "\x01\x02"s);
    EXPECT_EQ(wire("integer", integer(-2)), "\xFF\xFF\xFF\xFE"s);
    EXPECT_EQ(wire("bigint", integer(INT64_MIN)), "\x80\0\0\0\0\0\0\0"s);
    EXPECT_FALSE(wire("tinyint", integer(128)));
    EXPECT_FALSE(wire("smallint", integer(-32769)));
    EXPECT_FALSE(wire("integer", integer(2147483648)));
    EXPECT_FALSE(wire("integer", text("abc")));
    EXPECT_FALSE(wire("integer", real(2.5)));
}

TEST(tarnlite_values, fractions_and_truth_values_and_texts) {
    EXPECT_EQ(wire("float", real(1.5)), "\x3F\xC0\0\0"s);
    EXPECT_EQ(wire("double", integer(-2)), "\xC0\0\0\0\0\0\0\0"s);
    EXPECT_FALSE(wire("float", real(1e39)));
    EXPECT_EQ(wire("boolean", integer(1)), "T");
    EXPECT_EQ(wire("boolean", text("False")), "F");
    EXPECT_FALSE(wire("boolean", integer(2)));
    EXPECT_EQ(wire("char(3)", text("abcd")), "abcd");
    EXPECT_EQ(wire("char", integer(-7)), "-7");
    EXPECT_EQ(wire("char", real(3)), "3.0");
    EXPECT_EQ(wire("blob", text("a\0b"s)), "a\0b"s);
    EXPECT_EQ(wire("date", Value{}), "");
}

TEST(tarnlite_values, numerics_are_rounded_to_the_declared_scale) {
    EXPECT_EQ(wire("numeric(10,2)", real(1.005)), "1.01");
    EXPECT_EQ(wire("numeric(10,2)", real(-0.001)), "0.00");
    EXPECT_EQ(wire("numeric(10,2)", integer(7)), "7.00");
    EXPECT_EQ(wire("numeric(10,2)", text("-99.995")), "-100.00");
    EXPECT_EQ(wire("numeric(5)", text("2.5")), "3");
    EXPECT_EQ(wire("numeric(40,1)", text("12345678901234567890123456789.05")),
              "12345678901234567890123456789.1");
    EXPECT_EQ(wire("numeric", text("1.5e3")), "1500");
    EXPECT_EQ(wire("numeric", text("-25e-3")), "-0.025");
    EXPECT_EQ(wire("numeric(20,0)", real(1e18)), "1000000000000000000");
    for (const char* wrong : {"", "-", ".", "1.2.3", "1e", "1e999999999999", "1e401", "12x", "inf"}) {
        EXPECT_FALSE(wire("numeric(10,2)", text(wrong))) << wrong;
    }
}

TEST(tarnlite_values, dates_and_times_become_counts_from_1970) {
    const struct {
        std::string_view declaration;
        std::string_view content;
        std::int64_t expected;
    } cases[] = {
        {"date", "1970-01-01", 0},
        {"date", "1969-12-31", -1},
        {"date", "0000-01-01", -719'528},
        {"date", "0000-02-29", -719'469},
        {"date", "-0001-12-31", -719'529},
        {"date", "0001-01-01", -719'162},
        {"date", "1582-10-15", -141'427},
        {"date", "1900-03-01", -25'508},
        {"date", "2000-02-29", 11'016},
        {"date", "2024-02-29", 19'782},
        {"date", "9999-12-31", 2'932'896},
        {"date", "10000-01-01", 2'932'897},
        {"date", "+400000-01-01", 145'377'472},
        {"time", "12:34:56.789", 45'296'789},
        {"time", "00:01", 60'000},
        {"time", "23:59:59.9999", 86'399'999},
        {"datetime", "1970-01-01", 0},
        {"datetime", "1969-12-31 23:59:59.999", -1},
        {"datetime", "2024-02-29T12:34:56.789", 1'709'210'096'789},
        {"datetime", "0001-01-01 00:00:00", -62'135'596'800'000},
    };
    for (const auto& c : cases)
        EXPECT_EQ(count(c.declaration, text(c.content)), c.expected) << c.content;
}

TEST(tarnlite_values, zoned_values_hold_utc_and_the_zone) {
    EXPECT_EQ(wire("time with time zone", text("12:34:56+02:00")), "\x02\x45\x4C\x80\x00\x78"s);
    // Half an hour past midnight two hours east is still the day before in UTC.
    EXPECT_EQ(wire("time with time zone", text("00:30:00 +02:00")), "\xFF\xAD\x9A\x40\x00\x78"s);
    EXPECT_EQ(wire("time with time zone", text("00:00:01Z")), "\0\0\x03\xE8\0\0"s);
    EXPECT_EQ(wire("time with time zone", text("00:00:01-0530")), "\x01\x2E\x23\xA8\xFE\xB6"s);
    EXPECT_EQ(wire("datetime with time zone", text("1970-01-01 00:00:00.000001")), "\0\0\0\0\0\0\0\x01\0\0"s);
    // 19,799,500,000 microseconds.
    EXPECT_EQ(wire("datetime with time zone", text("1969-12-31T23:59:59.5-05:30")),
              "\0\0\0\x04\x9C\x24\x64\xE0\xFE\xB6"s);
}

TEST(tarnlite_values, texts_that_are_no_date_or_time_are_refused) {
    for (const char* wrong :
         {"", "2024", "2024-02-30", "1900-02-29", "2024-13-01", "2024-00-01", "2024-01-00", "24-01-01",
          "2024-1-1", "2024-01-01x", "9999999-01-01", "20240229"}) {
        EXPECT_FALSE(wire("date", text(wrong))) << wrong;
    }
    for (const char* wrong : {"24:00:00", "12:60", "12:00:60", "1:00", "12:00:00.", "12:00:00+02:00", "12"}) {
        EXPECT_FALSE(wire("time", text(wrong))) << wrong;
    }
    for (const char* wrong : {"2024-01-01 ", "2024-01-01x12:00", "12:00:00"}) {
        EXPECT_FALSE(wire("datetime", text(wrong))) << wrong;
    }
    for (const char* wrong :
         {"12:00:00+", "12:00:00+2", "12:00:00+19:00", "12:00:00+02:", "12:00:00+02:60"}) {
        EXPECT_FALSE(wire("time with time zone", text(wrong))) << wrong;
    }
    EXPECT_FALSE(wire("datetime with time zone", text("300000-01-01 00:00:00Z")));
    EXPECT_FALSE(wire("date", integer(20240229)));
}

TEST(tarnlite_values, counts_read_back_as_the_same_text) {
    EXPECT_EQ(tarnlite::date_text(-719'529), "-0001-12-31");
    EXPECT_EQ(tarnlite::datetime_text(-1), "1969-12-31 23:59:59.999");
    EXPECT_EQ(tarnlite::datetime_text(1'709'210'096'000), "2024-02-29 12:34:56");
    for (std::int32_t day = -1'500'000; day < 4'000'000; day += 13) {
        ASSERT_EQ(tarnlite::days_of_date(tarnlite::date_text(day)), day);
    }
}

TEST(tarnlite_values, intervals_become_counts_of_their_unit) {
    const struct {
        std::string_view declaration;
        Value value;
        std::int64_t expected;
    } cases[] = {
        {"interval year", integer(-3), -3},
        {"interval year to month", text("3-04"), 40},
        {"interval year to month", text("-1-02"), -14},
        {"interval year to month", integer(14), 14},
        {"interval month", text("15"), 15},
        {"interval day", integer(2147483647), 2147483647},
        {"interval day to hour", text("2 03"), 51},
        {"interval hour", text("+5"), 5},
        {"interval day to minute", text("1 02:03"), 1563},
        {"interval hour to minute", text("-10:30"), -630},
        {"interval minute", integer(90), 90},
        {"interval day to second", text("2 03:04:05.5"), 183'845'500'000},
        {"interval hour to second", text("100:00:01"), 360'001'000'000},
        {"interval minute to second", text("-1:02.000003"), -62'000'003},
        {"interval second", text("15"), 15'000'000},
        {"interval second", integer(15), 15'000'000},
        {"interval second", real(2.5), 2'500'000},
    };
    for (const auto& c : cases)
        EXPECT_EQ(count(c.declaration, c.value), c.expected) << c.declaration;
    EXPECT_FALSE(wire("interval year to month", text("1-12")));
    EXPECT_FALSE(wire("interval year", text("1-02")));
    EXPECT_FALSE(wire("interval day to second", text("1 24:00:00")));
    EXPECT_FALSE(wire("interval day to second", text("1 02:03")));
    EXPECT_FALSE(wire("interval day", integer(2147483648)));
    EXPECT_FALSE(wire("interval day to minute", text("99999999999999999999 00:00")));
    EXPECT_FALSE(wire("interval hour", real(1.5)));
    EXPECT_FALSE(wire("interval hour", text("")));
}
