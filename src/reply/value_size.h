// The distance from one value of a row to the next.
#pragma once

#include "base/bytes.h"
#include "reply/result_set.h"

namespace tarn {

// Every value begins with a signed 32-bit length, below 1 for a null.
inline constexpr size_t length_size = 4;

inline int32_t value_length(const uint8_t* value) noexcept {
    return static_cast<int32_t>(load_wire<uint32_t>(value));
}

// The size of a value that is not null: for a fixed type its width, whatever its length says.
inline uint32_t content_size(const Column& column, int32_t length) noexcept {
    return column.width ? column.width : static_cast<uint32_t>(length);
}

// The size of a value including its length field.
inline size_t size_in_row(const Column& column, const uint8_t* value) noexcept {
    const int32_t length = value_length(value);
    return length_size + (length < 1 ? 0 : content_size(column, length));
}

} // namespace tarn
