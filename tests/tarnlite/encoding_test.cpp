// Declared types and the wire form of values, against counts computed elsewhere: what the types are called
// besides their usual names, what is rounded, and what is refused.

#include "calendar.h"
#include "types.h"
#include "values.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using namespace std::string_literals;
using tarnlite::Value;

namespace {

Value text(std::string_view content) {
    return {Value::Kind::text, 0, 0, content};
}

Value integer(std::int64_t number) {
    return {Value::Kind::integer, number, 0, {}};
}

Value real(double number) {
    return {Value::Kind::real, 0, number, {}};
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

} // namespace

TEST(tarnlite_types, declared_names_give_wire_type_and_modifier) {
    const struct {
        std::string_view declaration;
        std::uint32_t wire;
        std::uint32_t modifier;
    } cases[] = {
        {"decimal ( 5 )", 7, 5U << 16},
        {"double  precision", 9, 0},
        {"timestamp", 13, 0},
        {"\"TIMESTAMP(6) WITH TIME ZONE\"", 14, 6},
        {"INTERVAL YEAR \"TO\" MONTH", 16, 0},
        {"interval day to second(6)", 24, 6},
        {"char(99999999999999)", 30, 0},
        {"varchar(2 char)", 30, 2},
    };
    for (const auto& c : cases) {
        const auto type = tarnlite::declared_type(c.declaration);
        ASSERT_TRUE(type) << c.declaration;
        EXPECT_EQ(static_cast<std::uint32_t>(type->wire), c.wire) << c.declaration;
        EXPECT_EQ(type->modifier, c.modifier) << c.declaration;
    }
    for (const char* unknown : {"geometry", "", ")char("})
        EXPECT_FALSE(tarnlite::declared_type(unknown)) << unknown;
}

TEST(tarnlite_values, unusual_texts_and_numbers_are_read_and_rounded) {
    const struct {
        std::string_view declaration;
        Value value;
        std::string expected;
    } cases[] = {
        {"char", real(3), "3.0"},
        {"date", Value{}, ""},
        {"numeric(10,2)", real(1.005), "1.01"},
        {"numeric(10,2)", real(-0.001), "0.00"},
        {"numeric(10,2)", text("-99.995"), "-100.00"},
        {"numeric(5)", text("2.5"), "3"},
        {"numeric(40,1)", text("12345678901234567890123456789.05"), "12345678901234567890123456789.1"},
        {"numeric", text("1.5e3"), "1500"},
        {"numeric", text("-25e-3"), "-0.025"},
        {"numeric(20,0)", real(1e18), "1000000000000000000"},
        {"date", text("0000-02-29"), "\xFF\xF5\x05\x93"s},
        {"date", text("-0001-12-31"), "\xFF\xF5\x05\x57"s},
        {"date", text("+400000-01-01"), "\x08\xAA\x48\xC0"s},
        {"time", text("00:01"), "\x00\x00\xEA\x60"s},
        {"time", text("23:59:59.9999"), "\x05\x26\x5B\xFF"s},
        {"interval hour", text("+5"), "\x00\x00\x00\x05"s},
        {"time with time zone", text("00:00:01Z"), "\0\0\x03\xE8\0\0"s},
        {"time with time zone", text("00:00:01-0530"), "\x01\x2E\x23\xA8\xFE\xB6"s},
        {"datetime with time zone", text("1970-01-01 00:00:00.000001"), "\0\0\0\0\0\0\0\x01\0\0"s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(wire(c.declaration, c.value), c.expected) << c.declaration << ' ' << c.expected;
}

TEST(tarnlite_values, counts_read_back_as_the_same_text) {
    EXPECT_EQ(tarnlite::datetime_text(-1), "1969-12-31 23:59:59.999");
    EXPECT_EQ(tarnlite::datetime_text(1'709'210'096'000), "2024-02-29 12:34:56");
    for (std::int32_t day = -1'500'000; day < 4'000'000; day += 13) {
        ASSERT_EQ(tarnlite::days_of_date(tarnlite::date_text(day)), day);
    }
}

TEST(tarnlite_values, values_that_a_type_cannot_hold_are_refused) {
    const struct {
        std::string_view declaration;
        std::vector<Value> values;
    } cases[] = {
        {"boolean", {integer(2)}},
        {"tinyint", {integer(128)}},
        {"smallint", {integer(-32769)}},
        {"integer", {integer(2147483648), text("abc"), real(2.5)}},
        {"float", {real(1e39)}},
        {"numeric(10,2)",
         {text(""), text("-"), text("."), text("1.2.3"), text("1e"), text("1e999999999999"), text("1e401"),
          text("12x"), text("inf")}},
        {"date",
         {text(""), text("2024"), text("2024-02-30"), text("1900-02-29"), text("2024-13-01"),
          text("2024-00-01"), text("2024-01-00"), text("24-01-01"), text("2024-1-1"), text("2024-01-01x"),
          text("9999999-01-01"), text("20240229"), integer(20240229)}},
        {"time",
         {text("24:00:00"), text("12:60"), text("12:00:60"), text("1:00"), text("12:00:00."),
          text("12:00:00+02:00"), text("12")}},
        {"datetime", {text("2024-01-01 "), text("2024-01-01x12:00"), text("12:00:00")}},
        {"time with time zone",
         {text("12:00:00+"), text("12:00:00+2"), text("12:00:00+19:00"), text("12:00:00+02:"),
          text("12:00:00+02:60")}},
        {"datetime with time zone", {text("300000-01-01 00:00:00Z")}},
        {"interval year", {text("1-02")}},
        {"interval year to month", {text("1-12")}},
        {"interval day", {integer(2147483648)}},
        {"interval hour", {real(1.5), text("")}},
        {"interval day to minute", {text("99999999999999999999 00:00")}},
        {"interval day to second", {text("1 24:00:00"), text("1 02:03")}},
    };
    for (const auto& c : cases) {
        for (const Value& value : c.values)
            EXPECT_FALSE(wire(c.declaration, value)) << c.declaration << ' ' << value.bytes;
    }
}
