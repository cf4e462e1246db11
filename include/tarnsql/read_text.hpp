// Texts and bytes: buffers grow as needed, contents that came as descriptors are fetched. Nothing here is for
// programs.
#pragma once

#include <string>
#include <string_view>

#include "bytes.hpp"
#include "large_object.hpp"
#include "read_number.hpp"

namespace tarnsql::detail {

// Whether the buffer for short texts holds the whole value.
inline bool is_whole_text(const result_state& from, int32_t column, int32_t length) noexcept {
    switch (from.type(column)) {
    case TRN_TYPE_NUMERIC: return length != cut_text;
    case TRN_TYPE_CLOB:
    case TRN_TYPE_BLOB: return !from.lobs_marked;
    case TRN_TYPE_OPAQUE: return false; // its text form stops at a zero byte
    default: return true;
    }
}

inline bool is_short_text(const result_state& from, int32_t column, int32_t status, int32_t length) noexcept {
    return status == TRN_OK && (from.type(column) == TRN_TYPE_TEXT || is_whole_text(from, column, length));
}

// All other values, given what the read into the short buffer returned.
template <class Room>
bool get_long_text(result_state& from, int32_t column, int32_t status, int32_t length, Room room) {
    if (status == TRN_NULL_VALUE) return false;
    const int32_t type = from.type(column);
    if (from.lobs_marked && (type == TRN_TYPE_CLOB || type == TRN_TYPE_BLOB)) {
        large_object content;
        if (!get_lob(from, column, content)) return false;
        const size_t size = static_cast<size_t>(content.size());
        content.read(room(size), size);
        return true;
    }
    if (type == TRN_TYPE_NUMERIC || type == TRN_TYPE_OPAQUE) return get_stored(from, column, room);
    if (status != TRN_TRUNCATED) fail_value(from, column, "has no text");
    const size_t size = column_slot::short_size - 1 + static_cast<size_t>(length); // delivered and left out
    from.get(column, TRN_TYPE_NUMERIC, room(size), static_cast<int32_t>(size));
    return true;
}

inline bool get_string(result_state& from, int32_t column, std::string& value) {
    char text[column_slot::short_size];
    int32_t length = 0;
    const int32_t status = from.get(column, TRN_TYPE_TEXT, text, sizeof text, &length);
    if (is_short_text(from, column, status, length)) {
        value.assign(text, static_cast<size_t>(length));
        return true;
    }
    return get_long_text(from, column, status, length, [&](size_t size) {
        value.resize(size);
        return value.data();
    });
}

inline bool get_string_view(result_state& from, int32_t column, std::string_view& value) {
    column_slot& room = from.slot(column);
    int32_t length = 0;
    const int32_t status = from.get(column, TRN_TYPE_TEXT, room.short_area, column_slot::short_size, &length);
    if (is_short_text(from, column, status, length)) {
        value = {room.short_area, static_cast<size_t>(length)};
        return true;
    }
    return get_long_text(from, column, status, length, [&](size_t size) {
        char* to = room.at_least(size + 1);
        value = {to, size};
        return to;
    });
}

// Types that are bytes by nature; the stored bytes of numbers and dates mean nothing to a program.
inline bool check_bytes(result_state& from, int32_t column) {
    switch (from.type(column)) {
    case TRN_TYPE_TEXT:
    case TRN_TYPE_BYTES:
    case TRN_TYPE_CLOB:
    case TRN_TYPE_BLOB:
    case TRN_TYPE_OPAQUE: return true;
    default: return refuse(from, column, "is not made of bytes");
    }
}

inline bool get_bytes_view(result_state& from, int32_t column, bytes_view& value) {
    std::string_view text;
    if (!check_bytes(from, column) || !get_string_view(from, column, text)) return false;
    value = {static_cast<const void*>(text.data()), text.size()};
    return true;
}

} // namespace tarnsql::detail
