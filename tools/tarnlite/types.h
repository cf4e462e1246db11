// The column types: their codes on the wire, the names by which CREATE TABLE declares them, and the modifier.
// types.cpp has the only table of declared names.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnlite {

enum class WireType : std::uint32_t {
    boolean = 2,
    tinyint = 3,
    smallint = 4,
    integer = 5,
    bigint = 6,
    numeric = 7,
    single = 8,
    double_ = 9,
    date = 10,
    time = 11,
    time_tz = 12,
    datetime = 13,
    datetime_tz = 14,
    interval_year = 15,
    interval_year_to_month = 16,
    interval_month = 17,
    interval_day = 18,
    interval_day_to_hour = 19,
    interval_hour = 20,
    interval_day_to_minute = 21,
    interval_hour_to_minute = 22,
    interval_minute = 23,
    interval_day_to_second = 24,
    interval_hour_to_second = 25,
    interval_minute_to_second = 26,
    interval_second = 27,
    opaque = 29,
    character = 30,
    clob = 32,
    binary = 33,
    blob = 34,
};

struct ColumnType {
    WireType wire = WireType::character;
    // NUMERIC(p,s): p in the upper 16 bits, s in the lower; any other type: its first argument. 0: none
    // declared.
    std::uint32_t modifier = 0;
};

// The type of a declared name ("varchar(20)", "Interval Year to Month"); nothing for an unknown one. Case,
// runs of blanks and quotes around words do not matter.
std::optional<ColumnType> declared_type(std::string_view declaration);

// The name of a type in error texts.
std::string_view type_name(WireType type);

} // namespace tarnlite
