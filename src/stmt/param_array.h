// What lies at a bound value, and walking the elements of an array, row after row.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/bytes.h"
#include "stmt/param_set.h"
#include "stmt/param_types.h"

namespace tarn {

// A walk over the elements of a slot's array: what slot and type say is looked up once, before the first row.
struct ArrayWalk {
    const uint8_t* elements;
    int64_t size;           // readable at elements
    int64_t offset;         // of the current element
    const int32_t* lengths; // of the current element and those behind it
    int32_t rows_left;      // elements from the current one on
    uint16_t wire_type;
    ValueForm form; // in batches
    Step step;
    uint8_t skip;
    uint8_t element_size;
};

// What may be read at a slot's value. An in-out bound without a buffer length has its type's own size, or what its length
// variable says now.
inline int32_t readable_bytes(const ParamSlot& slot) noexcept {
    if (slot.direction != TRN_DIRECTION_INOUT || slot.value_bytes > 0 || !slot.length)
        return slot.value_bytes;
    const int32_t size = own_size(param_type(slot.data_type));
    return size ? size : std::max(*slot.length, 0);
}

inline ArrayWalk walk_array(const ParamSlot& slot) noexcept {
    const ParamType type = param_type(slot.data_type);
    return {static_cast<const uint8_t*>(slot.value),
            readable_bytes(slot),
            0,
            slot.length,
            slot.value ? slot.rows : 0,
            type.wire_type,
            type.batch,
            slot.by_position ? type.by_position : type.by_name,
            type.batch_skip,
            type.element_size};
}

// How far the current element lies from the next; -1 when the type has no arrays or the element has no readable length.
inline int64_t element_step(const ArrayWalk& walk) noexcept {
    switch (walk.step) {
    case Step::fixed: return walk.element_size;
    case Step::length: return std::max(*walk.lengths, 0);
    case Step::length_and_4: return int64_t{std::max(*walk.lengths, 0)} + 4;
    case Step::prefixed: {
        if (walk.offset + 4 > walk.size) return -1;
        const int32_t prefix = load<int32_t>(walk.elements + walk.offset);
        return prefix < 0 ? -1 : int64_t{prefix} + 4;
    }
    case Step::refused: break;
    }
    return -1;
}

inline void go_to_next_element(ArrayWalk& walk, int64_t step) noexcept {
    if (walk.rows_left == 0) return;
    walk.offset += step;
    ++walk.lengths;
    --walk.rows_left;
}

inline void go_to_next_element(ArrayWalk& walk) noexcept {
    if (walk.rows_left > 0) go_to_next_element(walk, std::max<int64_t>(element_step(walk), 0));
}

// Whether all elements lie inside the slot's buffer.
inline bool array_fits(const ParamSlot& slot) noexcept {
    for (ArrayWalk walk = walk_array(slot); walk.rows_left > 0; go_to_next_element(walk)) {
        const int64_t step = element_step(walk);
        if (step < 0 || walk.offset + step > walk.size) return false;
    }
    return true;
}

} // namespace tarn
