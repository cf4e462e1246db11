// The fast path: the requested type is the column's own, and one call gives the value. All others go through
// read_any. Loops over rows inline this, so it is kept short. Internal.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "read.hpp"

namespace tarnsql::detail {

template <class T, class = void> struct fast_reader { static constexpr bool exists = false; };

template <class T, int32_t target, int32_t lowest, int32_t highest> struct number_reader {
    static constexpr bool exists = true;
    static constexpr bool takes(int32_t type) noexcept { return in_range(type, lowest, highest); }
    static int32_t read(result_state& from, int32_t column, T& value) noexcept {
        return from.get(column, target, &value, sizeof value);
    }
};

template <class T>
struct fast_reader<T, std::enable_if_t<is_number<T> && std::is_signed_v<T> && (sizeof(T) > 1)>>
    : number_reader<T, integer_type<sizeof(T)>, TRN_TYPE_TINYINT, integer_type<sizeof(T)>> {};
template <>
struct fast_reader<float> : number_reader<float, TRN_TYPE_FLOAT, TRN_TYPE_FLOAT, TRN_TYPE_FLOAT> {};
template <>
struct fast_reader<double> : number_reader<double, TRN_TYPE_DOUBLE, TRN_TYPE_TINYINT, TRN_TYPE_NUMERIC> {};

struct text_reader {
    static constexpr bool exists = true;
    static constexpr bool takes(int32_t type) noexcept { return type == TRN_TYPE_TEXT; }
};

template <> struct fast_reader<std::string_view> : text_reader {
    static int32_t read(result_state& from, int32_t column, std::string_view& value) noexcept {
        char* const text = from.slot(column).short_area;
        int32_t length;
        const int32_t status = from.get(column, TRN_TYPE_TEXT, text, column_slot::short_size, &length);
        value = {text, static_cast<uint32_t>(length)};
        return status;
    }
};

template <> struct fast_reader<std::string> : text_reader {
    static int32_t read(result_state& from, int32_t column, std::string& value) {
        char text[column_slot::short_size];
        int32_t length;
        const int32_t status = from.get(column, TRN_TYPE_TEXT, text, sizeof text, &length);
        if (status == TRN_OK) value = std::string(text, static_cast<uint32_t>(length));
        return status;
    }
};

// DATE counts days, DATETIME milliseconds.
template <class Duration> struct fast_reader<std::chrono::time_point<std::chrono::system_clock, Duration>> {
    static constexpr bool is_date = std::is_same_v<typename Duration::period, days::period>;
    using count = std::conditional_t<is_date, std::chrono::duration<int32_t, days::period>,
                                     std::chrono::duration<int64_t, std::milli>>;

    static constexpr bool exists = true;
    static constexpr bool takes(int32_t type) noexcept {
        return type == (is_date ? TRN_TYPE_DATE : TRN_TYPE_DATETIME);
    }
    static int32_t read(result_state& from, int32_t column,
                        std::chrono::time_point<std::chrono::system_clock, Duration>& value) {
        typename count::rep stored = 0;
        const int32_t status = from.get(column, TRN_TYPE_NUMERIC, &stored, sizeof stored);
        value =
            std::chrono::time_point<std::chrono::system_clock, Duration>(converted<Duration>(count(stored)));
        return status;
    }
};

template <class T> struct fast_reader<std::optional<T>> : fast_reader<T> {};

template <class T> using fast = fast_reader<T>;

// False when the value must be read by read_any.
template <class T>
[[gnu::always_inline]] inline bool read_fast(result_state& from, int32_t column, T& value) {
    if constexpr (is_optional<T>) {
        typename T::value_type known;
        const int32_t status = fast<T>::read(from, column, known);
        if (status == TRN_OK)
            value.emplace(std::move(known));
        else
            value.reset();
        return status == TRN_OK || status == TRN_NULL_VALUE;
    } else {
        return fast<T>::read(from, column, value) == TRN_OK;
    }
}

template <class T> [[gnu::always_inline]] inline T read(result_state& from, int32_t column) {
    if constexpr (std::is_same_v<T, std::string>) { // constructed in place
        char text[column_slot::short_size];
        int32_t length;
        if (from.type(column) == TRN_TYPE_TEXT &&
            from.get(column, TRN_TYPE_TEXT, text, sizeof text, &length) == TRN_OK)
            return std::string(text, static_cast<uint32_t>(length));
    }
    T value{};
    if constexpr (fast<T>::exists && !std::is_same_v<T, std::string>) {
        if (fast<T>::takes(from.type(column)) && read_fast(from, column, value)) return value;
    }
    read_any(from, column, value);
    return value;
}

// Whether the fast path applies to every column of a tuple.
template <class... Ts, size_t... index>
bool fits_directly(const result_state& from, std::index_sequence<index...>) noexcept {
    const auto takes = [&](auto reader, size_t at) {
        if constexpr (decltype(reader)::exists)
            return decltype(reader)::takes(from.type(static_cast<int32_t>(at) + 1));
        else
            return true;
    };
    return (takes(fast<Ts>(), index) && ...);
}

template <class... Ts> bool fits_directly(const result_state& from) noexcept {
    return fits_directly<Ts...>(from, std::index_sequence_for<Ts...>());
}

template <class T>
[[gnu::always_inline]] inline void read_directly(result_state& from, int32_t column, T& value) {
    if constexpr (fast<T>::exists) {
        if (read_fast(from, column, value)) return;
    }
    read_any(from, column, value);
}

// Checks that a query has a column for each type, and chooses how its rows are read.
template <class... Ts> void check_columns(result_state& rows) {
    if (static_cast<size_t>(rows.column_count()) != sizeof...(Ts))
        misuse("the query does not have as many columns as types");
    rows.direct = fits_directly<Ts...>(rows);
}

template <> inline void check_columns<>(result_state&) {}

// Column by column, in place.
template <class Tuple, size_t... index>
[[gnu::always_inline]] inline Tuple read_all(result_state& from, std::index_sequence<index...>) {
    Tuple row;
    if (from.direct)
        (read_directly(from, static_cast<int32_t>(index) + 1, std::get<index>(row)), ...);
    else
        (read_any(from, static_cast<int32_t>(index) + 1, std::get<index>(row)), ...);
    return row;
}

} // namespace tarnsql::detail
