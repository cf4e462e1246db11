// Numbers: integers are read in full width and checked, a NUMERIC is never truncated. Internal.
#pragma once

#include <charconv>
#include <cmath>
#include <string>
#include <string_view>
#include <type_traits>

#include "read_value.hpp"

namespace tarnsql::detail {

// The integer value of a decimal text.
template <class T> bool integer_of_text(std::string_view text, T& value) {
    const size_t point = text.find('.');
    if (point != std::string_view::npos) {
        if (text.find_first_not_of('0', point + 1) != std::string_view::npos) return false;
        text = text.substr(0, point);
    }
    if (!text.empty() && text[0] == '+') text.remove_prefix(1);
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && stop == text.data() + text.size();
}

// The library's texts of numbers and dates are shorter than this unless they were cut.
inline constexpr int32_t cut_text = 63;

template <class T> bool get_numeric(result_state& from, int32_t column, T& value) {
    char text[column_slot::short_size];
    int32_t length = 0;
    if (from.get(column, TRN_TYPE_TEXT, text, sizeof text, &length) != TRN_OK)
        return refuse(from, column, "has no text");
    std::string_view digits(text, static_cast<size_t>(length));
    std::string all;
    if (length == cut_text) {
        get_any_bytes(from, column, all);
        digits = all;
    }
    if (!integer_of_text(digits, value)) fail_range(from, column);
    return true;
}

inline bool get_boolean(result_state& from, int32_t column, bool& value) {
    char letter = 0;
    const int32_t status = from.get(column, TRN_TYPE_BYTE, &letter, 1);
    if (status == TRN_OK && (letter == 'T' || letter == 'F')) {
        value = letter == 'T';
        return true;
    }
    return refuse(from, column, "that is neither true nor false");
}

// Everything but integers of T's own width or less.
template <class T> bool get_wider_integer(result_state& from, int32_t column, T& value) {
    const int32_t type = from.type(column);
    if (type == TRN_TYPE_NUMERIC) return get_numeric(from, column, value);
    if (type == TRN_TYPE_BOOLEAN) {
        bool truth = false;
        if (!get_boolean(from, column, truth)) return false;
        value = static_cast<T>(truth);
        return true;
    }
    int64_t wide = 0;
    if (!in_range(type, TRN_TYPE_TINYINT, TRN_TYPE_BIGINT) ||
        from.get(column, TRN_TYPE_BIGINT, &wide, sizeof wide) != TRN_OK)
        return refuse(from, column, "is not an integer");
    value = static_cast<T>(wide);
    if (static_cast<int64_t>(value) != wide || (std::is_unsigned_v<T> && wide < 0)) fail_range(from, column);
    return true;
}

template <class T> bool get_integer(result_state& from, int32_t column, T& value) {
    constexpr int32_t own = integer_type<sizeof(T)>;
    if constexpr (std::is_signed_v<T> && sizeof(T) > 1) {
        if (in_range(from.type(column), TRN_TYPE_TINYINT, own) &&
            from.get(column, own, &value, sizeof value) == TRN_OK)
            return true;
    }
    return get_wider_integer(from, column, value);
}

inline bool get_truth(result_state& from, int32_t column, bool& value) {
    if (from.type(column) == TRN_TYPE_BOOLEAN) return get_boolean(from, column, value);
    int8_t number = 0;
    if (!get_wider_integer(from, column, number)) return false;
    if (number != 0 && number != 1) fail_range(from, column);
    value = number != 0;
    return true;
}

inline bool get_double(result_state& from, int32_t column, double& value) {
    const int32_t status = from.get(column, TRN_TYPE_DOUBLE, &value, sizeof value);
    return taken(from, column, status, "is not a number");
}

inline bool get_float(result_state& from, int32_t column, float& value) {
    if (from.type(column) == TRN_TYPE_FLOAT)
        return taken(from, column, from.get(column, TRN_TYPE_FLOAT, &value, sizeof value), "is not a number");
    double wide = 0;
    if (!get_double(from, column, wide)) return false;
    value = static_cast<float>(wide);
    if (std::isinf(value) && !std::isinf(wide)) fail_range(from, column);
    return true;
}

} // namespace tarnsql::detail
