// Shared by all reads: conversion failures and the size of a value. Internal.
#pragma once

#include <string>
#include <utility>

#include "parameter.hpp"
#include "result_state.hpp"

namespace tarnsql::detail {

[[noreturn]] inline void fail_value(result_state& from, int32_t column, const char* why) {
    throw value_error(TRN_ERR_CONVERSION, "column " + from.name(column) + ": a value of " +
                                              name_of_type(from.type(column)) + " " + why);
}

[[noreturn]] inline void fail_range(result_state& from, int32_t column) {
    throw range_error(TRN_ERR_CONVERSION, "column " + from.name(column) + ": the value of " +
                                              name_of_type(from.type(column)) +
                                              " does not fit the requested type");
}

// After the fast path of a type gave no value: false for a null, else throws.
inline bool refuse(result_state& from, int32_t column, const char* wanted) {
    if (from.is_null(column)) return false;
    fail_value(from, column, wanted);
}

// False for a null. The call can fail here for one reason only: there is no such conversion.
inline bool taken(result_state& from, int32_t column, int32_t status, const char* wanted) {
    return status == TRN_OK || refuse(from, column, wanted);
}

constexpr bool in_range(int32_t type, int32_t lowest, int32_t highest) noexcept {
    return static_cast<uint32_t>(type - lowest) <= static_cast<uint32_t>(highest - lowest);
}

// The stored size. Byte runs report theirs; for the others, whose text may be cut, it is the largest offset
// that a piecewise read accepts.
inline size_t stored_size(result_state& from, int32_t column) {
    char nothing;
    int32_t length = 0;
    if (from.get(column, TRN_TYPE_BYTES, &nothing, 0, &length) == TRN_TRUNCATED)
        return static_cast<size_t>(length);
    const auto reaches = [&](int32_t offset) {
        return from.get(column, TRN_TYPE_BYTES_PIECEWISE, &nothing, 1, &offset) != TRN_ERR_OFFSET;
    };
    int32_t within = 0, beyond = 64;
    while (beyond < INT32_MAX / 2 && reaches(beyond))
        within = std::exchange(beyond, beyond * 2);
    while (beyond - within > 1) {
        const int32_t middle = within + (beyond - within) / 2;
        (reaches(middle) ? within : beyond) = middle;
    }
    return static_cast<size_t>(within);
}

// Copies the stored bytes to where the given function makes room.
template <class Room> bool get_stored(result_state& from, int32_t column, Room room) {
    if (from.is_null(column)) return false;
    const size_t size = stored_size(from, column);
    char* to = room(size);
    if (size > 0)
        from.get(column, TRN_TYPE_NUMERIC, to, static_cast<int32_t>(size)); // clears nothing after it
    return true;
}

inline bool get_any_bytes(result_state& from, int32_t column, std::string& value) {
    return get_stored(from, column, [&](size_t size) {
        value.resize(size);
        return value.data();
    });
}

} // namespace tarnsql::detail
