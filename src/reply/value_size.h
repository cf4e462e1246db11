// How far one value of a row lies from the next.
#pragma once

#include "base/bytes.h"
#include "reply/result_set.h"

namespace tarn {

// What every value begins with: a signed 32-bit length, below 1 for a null.
inline constexpr size_t length_size = 4;

inline int32_t value_length(const uint8_t* value) noexcept {
    return static_cast<int32_t>(load_wire<uint32_t>(value));
}

// The bytes of a value with its length field. A fixed value that is not null has its type's width whatever its length says.
inline size_t size_in_row(const Column& column, const uint8_t* value) noexcept {
    const int32_t length = value_length(value);
    if (length < 1) return length_size;
    return length_size + (column.width ? column.width : static_cast<uint32_t>(length));
}

} // namespace tarn
