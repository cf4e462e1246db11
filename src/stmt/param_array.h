// The memory of bound values, and walking the elements of an array, row by row.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/bytes.h"
#include "stmt/param_set.h"
#include "stmt/param_types.h"

namespace tarn {

// A slot's array, with the facts of slot and type looked up once, before the first row.
struct ArrayColumn {
    const uint8_t* element;  // of the current row
    const uint8_t* end;      // of the readable bytes at element
    const uint8_t* last_run; // the last address where short_run bytes can be read; null: none
    const int32_t* lengths;  // one per row
    int32_t rows;
    uint16_t wire_type;
    ValueForm form; // in batches
    Step step;
    uint8_t skip;
    uint8_t element_size;
    bool whole; // every row has an element of skip bytes followed by its length of bytes
};

// How many bytes may be read at a slot's value. An in-out bound without a buffer length has its type's size,
// or the current value of its length variable.
inline int32_t readable_bytes(const ParamSlot& slot) noexcept {
    if (slot.direction != TRN_DIRECTION_INOUT || slot.value_bytes > 0 || !slot.length)
        return slot.value_bytes;
    const int32_t size = own_size(param_type(slot.data_type));
    return size ? size : std::max(*slot.length, 0);
}

inline ArrayColumn array_column(const ParamSlot& slot) noexcept {
    const ParamType type = param_type(slot.data_type);
    const uint8_t* elements = static_cast<const uint8_t*>(slot.value);
    return {elements,
            elements ? elements + readable_bytes(slot) : nullptr,
            nullptr,
            slot.length,
            elements ? slot.rows : 0,
            type.wire_type,
            type.batch,
            slot.by_position ? type.by_position : type.by_name,
            type.batch_skip,
            type.element_size,
            false};
}

// The distance from the current element, of that length, to the next; -1 when the type has no arrays or the
// element has no readable length.
inline int64_t element_step(const ArrayColumn& column, int32_t length) noexcept {
    switch (column.step) {
    case Step::fixed: return column.element_size;
    case Step::length: return std::max(length, 0);
    case Step::length_and_4: return int64_t{std::max(length, 0)} + 4;
    case Step::prefixed: {
        if (column.end - column.element < 4) return -1;
        const int32_t prefix = load<int32_t>(column.element);
        return prefix < 0 ? -1 : int64_t{prefix} + 4;
    }
    case Step::refused: break;
    }
    return -1;
}

// The total size of the elements of an array whose lengths determine it.
inline int64_t size_by_lengths(const ArrayColumn& column) noexcept {
    int64_t size = column.step == Step::length_and_4 ? int64_t{4} * column.rows : 0;
    for (int32_t row = 0; row < column.rows; ++row)
        size += std::max(column.lengths[row], 0);
    return size;
}

// Whether all elements are inside the slot's buffer.
inline bool array_fits(const ParamSlot& slot) noexcept {
    ArrayColumn column = array_column(slot);
    if (column.step == Step::fixed) return int64_t{column.element_size} * column.rows <= slot.value_bytes;
    if (column.step == Step::length || column.step == Step::length_and_4)
        return size_by_lengths(column) <= column.end - column.element;
    for (int32_t row = 0; row < column.rows; ++row) {
        const int64_t step = element_step(column, column.lengths[row]);
        if (step < 0 || step > column.end - column.element) return false;
        column.element += step;
    }
    return true;
}

} // namespace tarn
