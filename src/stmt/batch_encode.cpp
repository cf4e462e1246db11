// The rows of a batch: the first as entries straight into the send buffer, the others staged and sent in blocks of whole rows.
#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "stmt/encode.h"
#include "stmt/param_array.h"
#include "stmt/put_value.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

static constexpr size_t staging_size = 512000;
static constexpr size_t staging_reserve = 64000; // a row that reaches into it ends its block
static constexpr size_t value_head_size = 5;     // wire type and length

BatchEncoder::BatchEncoder(Conn& conn, const ParamSet& set) noexcept
    : conn_(conn), set_(set), with_wire_types_(std::strcmp(conn.protocol_version, "201") != 0),
      columns_(allocate_array<ArrayWalk>(static_cast<size_t>(set.count) + 1)),
      staged_(static_cast<uint8_t*>(allocate_raw(staging_size + short_run))), room_(staging_size) {
    for (int32_t i = 0; columns_ && i < set.count; ++i)
        columns_[static_cast<size_t>(i)] = walk_array(set.slots[i]);
}

// The value of the current element: the bind has seen that the element lies inside the buffer, but its length may lie. Empty
// where the slot has no value or no such row. The form is the column's.
static inline BoundValue element_value(const ArrayWalk& column, ValueForm form) noexcept {
    if (column.rows_left == 0) return {};
    const int64_t start = column.offset + column.skip;
    const int32_t readable = static_cast<int32_t>(std::max<int64_t>(column.size - start, 0));
    const int32_t length = *column.lengths;
    return {column.elements + (readable ? start : 0), readable,
            form == ValueForm::bytes ? std::min(length, readable) : length};
}

void BatchEncoder::put_row() noexcept {
    for (int32_t i = 0; i < set_.count; ++i) {
        const ParamSlot& slot = set_.slots[i];
        ArrayWalk& column = columns_[static_cast<size_t>(i)];
        if (slot.direction == TRN_DIRECTION_RETURN) {
            go_to_next_element(column);
            continue;
        }
        const BoundValue value = element_value(column, column.form);
        go_to_next_element(column);
        put_entry_head(conn_.channel, slot);
        if (column.form == ValueForm::unknown) continue;
        put_u16(conn_.channel, column.wire_type);
        put_u32(conn_.channel, static_cast<uint32_t>(value.length));
        put_value(conn_.channel, column.form, value);
    }
}

void BatchEncoder::send_complete_rows() noexcept {
    if (complete_ == 0) return;
    put_u32(conn_.channel, static_cast<uint32_t>(complete_));
    put_bytes(conn_.channel, staged_.get(), complete_);
    // The row in progress moves to the front: a block holds whole rows only.
    std::memmove(staged_.get(), staged_.get() + complete_, filled_ - complete_);
    filled_ -= complete_;
    complete_ = 0;
}

bool BatchEncoder::make_room(size_t size) noexcept {
    if (filled_ + size > room_) send_complete_rows();
    if (filled_ + size <= room_) return true;
    void* grown = resize_zeroed(staged_.get(), room_ + short_run, room_ + size + short_run);
    if (!grown) return false;
    (void)staged_.release();
    staged_.reset(static_cast<uint8_t*>(grown));
    room_ += size;
    return true;
}

// Room for a value of so many bytes behind its head, which is written but for its length; null when memory is short.
inline uint8_t* BatchEncoder::stage_head(uint32_t wire_type, size_t size) noexcept {
    if (filled_ + value_head_size + size > room_ && !make_room(value_head_size + size)) [[unlikely]]
        return nullptr;
    if (with_wire_types_) staged_.get()[filled_++] = static_cast<uint8_t>(wire_type);
    return staged_.get() + filled_;
}

// Arrays of numbers have elements of their numbers' size.
template <class T> bool BatchEncoder::stage_number(ArrayWalk& column) noexcept {
    const BoundValue value = element_value(column, ValueForm::u64);
    go_to_next_element(column, sizeof(T));
    const bool given = value.length > 0;
    const size_t size = given ? sizeof(T) : 0;
    uint8_t* to = stage_head(column.wire_type, size);
    if (!to) return false;
    const uint32_t length = sizeof(T) == sizeof(uint32_t) ? sizeof(T) : static_cast<uint32_t>(value.length);
    store_wire(to, given ? length : uint32_t{0});
    if (given) store_wire(to + sizeof length, value.as<T>());
    filled_ += sizeof length + size;
    return true;
}

bool BatchEncoder::stage_bytes(ArrayWalk& column) noexcept {
    const BoundValue value = element_value(column, ValueForm::bytes);
    go_to_next_element(column);
    const uint32_t length = static_cast<uint32_t>(std::max(value.length, 0));
    uint8_t* to = stage_head(column.wire_type, length);
    if (!to) return false;
    store_wire(to, length);
    if (length <= short_run && value.readable >= static_cast<int32_t>(short_run))
        copy_short_run(to + sizeof length, value.bytes);
    else if (length)
        std::memcpy(to + sizeof length, value.bytes, length);
    filled_ += sizeof length + length;
    return true;
}

bool BatchEncoder::stage_value(ArrayWalk& column) noexcept {
    switch (column.form) {
    case ValueForm::u16: return stage_number<uint16_t>(column);
    case ValueForm::u32: return stage_number<uint32_t>(column);
    case ValueForm::u64: return stage_number<uint64_t>(column);
    case ValueForm::bytes: return stage_bytes(column);
    default: return stage_head(TRN_WIRE_CHAR, 0) != nullptr;
    }
}

bool BatchEncoder::stage_row() noexcept {
    for (ArrayWalk *column = columns_.get(), *end = column + set_.count; column != end; ++column)
        if (!stage_value(*column)) return false;
    complete_ = filled_;
    if (filled_ + staging_reserve > room_ || filled_ > staging_size) send_complete_rows();
    return true;
}

void BatchEncoder::encode(int32_t rows) noexcept {
    put_row();
    for (int32_t staged = 1; staged < rows; ++staged)
        if (!stage_row()) return close_channel(conn_.channel);
    send_complete_rows();
}

} // namespace tarn
