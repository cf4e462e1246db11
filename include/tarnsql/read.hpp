// Values of the current row as C++ types. Takes care of what the C interface leaves to its caller: integers
// are read in full width and checked, a NUMERIC is never truncated, buffers grow as needed, large objects
// that came as descriptors are fetched.
//
//   bool                     BOOLEAN, integers 0 and 1
//   integers                 TINYINT to BIGINT, BOOLEAN, and NUMERIC without a fraction, if the value fits
//   float, double            FLOAT, DOUBLE, integers, NUMERIC
//   std::string              every type, in the text form of the guide's table of types; bytes unchanged
//   std::vector<std::byte>   CHAR, CLOB, BINARY, BLOB, OPAQUE
//   std::string_view         as std::string, and bytes_view as the vector: valid until the next row
//   time points              DATE, DATETIME, DATETIME WITH TIME ZONE (in UTC), rounded down to their unit
//   durations                the INTERVALs, TIME; months and years: INTERVAL YEAR TO MONTH
//   time_of_day              TIME;  zoned_time, zoned_moment: the types with a zone
//   large_object             CLOB, BLOB, CHAR, BINARY
//   std::optional<T>         as T, and nulls
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "read_number.hpp"
#include "read_text.hpp"
#include "read_time.hpp"

namespace tarnsql::detail {

template <class T> inline constexpr bool is_time_point = false;
template <class Duration>
inline constexpr bool is_time_point<std::chrono::time_point<std::chrono::system_clock, Duration>> = true;

template <class T> inline constexpr bool is_byte_vector = false;
template <class T> inline constexpr bool is_byte_vector<std::vector<T>> = is_byte<T>;

// Reads the current row's value into an existing variable; false for a null.
template <class T> bool get(result_state& from, int32_t column, T& value) {
    if constexpr (std::is_same_v<T, bool>)
        return get_truth(from, column, value);
    else if constexpr (is_number<T>)
        return get_integer(from, column, value);
    else if constexpr (std::is_same_v<T, double>)
        return get_double(from, column, value);
    else if constexpr (std::is_same_v<T, float>)
        return get_float(from, column, value);
    else if constexpr (std::is_same_v<T, std::string>)
        return get_string(from, column, value);
    else if constexpr (std::is_same_v<T, std::string_view>)
        return get_string_view(from, column, value);
    else if constexpr (std::is_same_v<T, bytes_view>)
        return get_bytes_view(from, column, value);
    else if constexpr (is_byte_vector<T>) {
        bytes_view bytes;
        if (!get_bytes_view(from, column, bytes)) return false;
        const auto* first = reinterpret_cast<const typename T::value_type*>(bytes.data());
        value.assign(first, first + bytes.size());
        return true;
    } else if constexpr (is_time_point<T>)
        return get_time_point(from, column, value);
#if __cplusplus >= 202002L
    else if constexpr (std::is_same_v<T, std::chrono::year_month_day>) {
        date day;
        if (!get_time_point(from, column, day)) return false;
        value = std::chrono::sys_days(day);
        return true;
    }
#endif
    else if constexpr (is_duration<T>)
        return get_duration(from, column, value);
    else if constexpr (std::is_same_v<T, time_of_day>)
        return get_time_of_day(from, column, value);
    else if constexpr (std::is_same_v<T, zoned_time> || std::is_same_v<T, zoned_moment>)
        return get_zoned(from, column, value);
    else if constexpr (std::is_same_v<T, large_object>)
        return get_lob(from, column, value);
    else
        static_assert(never<T>, "no value can be read as this type");
}

[[noreturn]] inline void fail_null(result_state& from, int32_t column) {
    throw null_error(TRN_NULL_VALUE, "column " + from.name(column) + " is null");
}

// Any value type from any column type; not inlined, to keep loops over rows small.
template <class T> [[gnu::noinline]] void read_any(result_state& from, int32_t column, T& value) {
    if constexpr (is_optional<T>) {
        if (!value) value.emplace();
        if (!get(from, column, *value)) value.reset();
    } else {
        if (!get(from, column, value)) fail_null(from, column);
    }
}

} // namespace tarnsql::detail
