// The only table of data types: for every wire code, the width of its values in a row and the API code it is
// reported as.
#pragma once

#include <cstdint>

#include "tarnsql.h"

namespace tarn {

struct WireType {
    int32_t code;     // TRN_WIRE_*
    uint32_t width;   // of its values; 0: variable, see their length
    int32_t api_code; // TRN_TYPE_*
};

// The interval kinds other than YEAR TO MONTH and DAY TO SECOND share one API code on purpose.
inline constexpr WireType wire_types[] = {
    {TRN_WIRE_BOOLEAN, 1, TRN_TYPE_BOOLEAN},
    {TRN_WIRE_TINYINT, 1, TRN_TYPE_TINYINT},
    {TRN_WIRE_SMALLINT, 2, TRN_TYPE_SMALLINT},
    {TRN_WIRE_INTEGER, 4, TRN_TYPE_INTEGER},
    {TRN_WIRE_BIGINT, 8, TRN_TYPE_BIGINT},
    {TRN_WIRE_NUMERIC, 0, TRN_TYPE_NUMERIC},
    {TRN_WIRE_FLOAT, 4, TRN_TYPE_FLOAT},
    {TRN_WIRE_DOUBLE, 8, TRN_TYPE_DOUBLE},
    {TRN_WIRE_DATE, 4, TRN_TYPE_DATE},
    {TRN_WIRE_TIME, 4, TRN_TYPE_TIME},
    {TRN_WIRE_TIME_TZ, 0, TRN_TYPE_TIME_TZ},
    {TRN_WIRE_DATETIME, 8, TRN_TYPE_DATETIME},
    {TRN_WIRE_DATETIME_TZ, 0, TRN_TYPE_DATETIME_TZ},
    {TRN_WIRE_INTERVAL_YEAR, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, 4, TRN_TYPE_INTERVAL_YEAR_TO_MONTH},
    {TRN_WIRE_INTERVAL_MONTH, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_DAY, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_DAY_TO_HOUR, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_HOUR, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_MINUTE, 4, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_DAY_TO_SECOND, 8, TRN_TYPE_INTERVAL_DAY_TO_SECOND},
    {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, 8, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, 8, TRN_TYPE_INTERVAL},
    {TRN_WIRE_INTERVAL_SECOND, 8, TRN_TYPE_INTERVAL},
    {TRN_WIRE_OPAQUE, 0, TRN_TYPE_OPAQUE},
    {TRN_WIRE_CHAR, 0, TRN_TYPE_TEXT},
    {TRN_WIRE_CLOB, 0, TRN_TYPE_CLOB},
    {TRN_WIRE_BINARY, 0, TRN_TYPE_BYTES},
    {TRN_WIRE_BLOB, 0, TRN_TYPE_BLOB},
};

// A code without a name, converted like OPAQUE.
inline constexpr int32_t wire_opaque_too = 45;

// The type of a wire code. One that is not in the table has variable length and is reported as text, so that
// an unknown code never breaks a row.
constexpr WireType wire_type(int32_t code) noexcept {
    for (const WireType& type : wire_types)
        if (type.code == code) return type;
    return {code, 0, TRN_TYPE_TEXT};
}

// The types whose values are runs of bytes that applications read whole or piecewise.
constexpr bool is_byte_run(int32_t code) noexcept {
    return code == TRN_WIRE_CHAR || code == TRN_WIRE_CLOB || code == TRN_WIRE_BINARY || code == TRN_WIRE_BLOB;
}

} // namespace tarn
