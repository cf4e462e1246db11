// Walking the elements of a bound array, row after row.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/bytes.h"
#include "stmt/param_set.h"
#include "stmt/param_types.h"

namespace tarn {

// How far the element at offset lies from the next; -1 when the type has no arrays or the element has no readable length. The
// row is one of the slot's.
inline int64_t element_step(const ParamSlot& slot, const ParamType& type, int32_t row,
                            int64_t offset) noexcept {
    const int32_t length = slot.length[row];
    switch (slot.by_position ? type.by_position : type.by_name) {
    case Step::fixed: return type.element_size;
    case Step::length: return std::max(length, 0);
    case Step::length_and_4: return int64_t{std::max(length, 0)} + 4;
    case Step::prefixed: {
        if (offset + 4 > slot.value_bytes) return -1;
        const int32_t prefix = load<int32_t>(static_cast<const uint8_t*>(slot.value) + offset);
        return prefix < 0 ? -1 : int64_t{prefix} + 4;
    }
    case Step::refused: break;
    }
    return -1;
}

// Whether all elements lie inside the slot's buffer.
inline bool array_fits(const ParamSlot& slot, const ParamType& type, int32_t rows) noexcept {
    int64_t offset = 0;
    for (int32_t row = 0; row < rows; ++row) {
        const int64_t step = element_step(slot, type, row, offset);
        if (step < 0) return false;
        offset += step;
        if (offset > slot.value_bytes) return false;
    }
    return true;
}

} // namespace tarn
