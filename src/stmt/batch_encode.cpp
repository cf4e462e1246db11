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
      offsets_(allocate_array<int64_t>(static_cast<size_t>(set.count) + 1)),
      staged_(static_cast<uint8_t*>(allocate_raw(staging_size))), room_(staging_size) {}

// The value of one element: the bind has seen that the element lies inside the buffer, but its length may lie. Empty where the
// slot has no value or no such row.
static BoundValue element_value(const ParamSlot& slot, const ParamType& type, int32_t row,
                                int64_t offset) noexcept {
    if (!slot.value || row >= slot.rows) return {};
    const int64_t start = offset + type.batch_skip;
    const int32_t readable = static_cast<int32_t>(std::max<int64_t>(slot.value_bytes - start, 0));
    const int32_t length = slot.length[row];
    return {static_cast<const uint8_t*>(slot.value) + (readable ? start : 0), readable,
            type.batch == ValueForm::bytes ? std::min(length, readable) : length};
}

void BatchEncoder::go_to_next_row() noexcept {
    for (int32_t i = 0; row_ >= 0 && i < set_.count; ++i) {
        const ParamSlot& slot = set_.slots[i];
        int64_t& offset = offsets_[static_cast<size_t>(i)];
        if (slot.value && row_ < slot.rows)
            offset += element_step(slot, param_type(slot.data_type), row_, offset);
    }
    ++row_;
}

void BatchEncoder::put_row() noexcept {
    for (int32_t i = 0; i < set_.count; ++i) {
        const ParamSlot& slot = set_.slots[i];
        if (slot.direction == TRN_DIRECTION_RETURN) continue;
        const ParamType type = param_type(slot.data_type);
        put_entry_head(conn_, slot);
        if (type.batch == ValueForm::unknown) continue;
        const BoundValue value = element_value(slot, type, row_, offsets_[static_cast<size_t>(i)]);
        put_u16(conn_, type.wire_type);
        put_u32(conn_, static_cast<uint32_t>(value.length));
        put_value(conn_, type.batch, value);
    }
}

void BatchEncoder::send_complete_rows() noexcept {
    if (complete_ == 0) return;
    put_u32(conn_, static_cast<uint32_t>(complete_));
    put_bytes(conn_, staged_.get(), complete_);
    // The row in progress moves to the front: a block holds whole rows only.
    std::memmove(staged_.get(), staged_.get() + complete_, filled_ - complete_);
    filled_ -= complete_;
    complete_ = 0;
}

bool BatchEncoder::make_room(size_t size) noexcept {
    if (filled_ + size > room_) send_complete_rows();
    if (filled_ + size <= room_) return true;
    void* grown = resize_zeroed(staged_.get(), room_, room_ + size);
    if (!grown) return false;
    (void)staged_.release();
    staged_.reset(static_cast<uint8_t*>(grown));
    room_ += size;
    return true;
}

template <class T> void BatchEncoder::stage(T value) noexcept {
    store_wire(staged_.get() + filled_, value);
    filled_ += sizeof value;
}

// How many bytes follow the length field.
static size_t staged_size(ValueForm form, const BoundValue& value) noexcept {
    if (value.length <= 0) return 0;
    switch (form) {
    case ValueForm::bytes: return static_cast<size_t>(value.length);
    case ValueForm::u16: return 2;
    case ValueForm::u32: return 4;
    case ValueForm::u64: return 8;
    default: return 0;
    }
}

bool BatchEncoder::stage_value(const ParamSlot& slot, int64_t offset) noexcept {
    const ParamType type = param_type(slot.data_type);
    const bool known = type.batch != ValueForm::unknown;
    const BoundValue value = known ? element_value(slot, type, row_, offset) : BoundValue{};
    const size_t size = staged_size(type.batch, value);
    if (!make_room(value_head_size + size)) return false;
    if (with_wire_types_)
        staged_.get()[filled_++] = static_cast<uint8_t>(known ? type.wire_type : TRN_WIRE_CHAR);
    if (!known) return true;
    const uint32_t length = type.batch == ValueForm::u32 ? 4 : static_cast<uint32_t>(value.length);
    stage<uint32_t>(size ? length : 0);
    if (!size) return true;
    switch (type.batch) {
    case ValueForm::u16: stage(value.as<uint16_t>()); break;
    case ValueForm::u32: stage(value.as<uint32_t>()); break;
    case ValueForm::u64: stage(value.as<uint64_t>()); break;
    default: std::memcpy(staged_.get() + filled_, value.bytes, size); filled_ += size;
    }
    return true;
}

bool BatchEncoder::stage_row() noexcept {
    for (int32_t i = 0; i < set_.count; ++i)
        if (!stage_value(set_.slots[i], offsets_[static_cast<size_t>(i)])) return false;
    complete_ = filled_;
    if (filled_ + staging_reserve > room_ || filled_ > staging_size) send_complete_rows();
    return true;
}

void BatchEncoder::encode(int32_t rows) noexcept {
    go_to_next_row();
    put_row();
    for (int32_t staged = 1; staged < rows; ++staged) {
        go_to_next_row();
        if (!stage_row()) return break_link(conn_);
    }
    send_complete_rows();
}

} // namespace tarn
