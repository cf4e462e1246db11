// The rows of a batch: the first as entries straight into the send buffer, the others staged and sent in blocks of whole rows.
#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "stmt/encode.h"
#include "stmt/param_array.h"
#include "stmt/put_value.h"
#include "wire/send.h"

namespace tarn {

static constexpr size_t staging_size = 512000;
static constexpr size_t staging_reserve = 64000; // a row that reaches into it ends its block
static constexpr size_t value_head_size = 5;     // wire type and length

BatchEncoder::BatchEncoder(Conn& conn, const ParamSet& set) noexcept
    : conn_(conn), set_(set), type_size_(std::strcmp(conn.protocol_version, "201") != 0),
      columns_(allocate_array<ArrayColumn>(static_cast<size_t>(set.count) + 1)),
      staged_(static_cast<uint8_t*>(allocate_raw(staging_size + short_run))),
      room_end_(staged_ ? staged_.get() + staging_size : nullptr) {
    for (int32_t i = 0; columns_ && i < set.count; ++i)
        columns_[static_cast<size_t>(i)] = array_column(set.slots[i]);
}

// The current element, with a length that may lie; the next one becomes the current one.
static inline BoundValue take_element(ArrayColumn& column, int32_t length) noexcept {
    const uint8_t* bytes = column.element + column.skip;
    const int64_t readable = std::max<int64_t>(column.end - bytes, 0);
    column.element += std::clamp<int64_t>(element_step(column, length), 0, column.end - column.element);
    return {bytes, static_cast<int32_t>(readable), length};
}

void BatchEncoder::put_row() noexcept {
    for (int32_t i = 0; i < set_.count; ++i) {
        const ParamSlot& slot = set_.slots[i];
        ArrayColumn& column = columns_[static_cast<size_t>(i)];
        BoundValue value{};
        if (row_ < column.rows) value = take_element(column, column.lengths[row_]);
        if (slot.direction == TRN_DIRECTION_RETURN) continue;
        put_entry_head(conn_.channel, slot);
        if (column.form == ValueForm::unknown) continue;
        if (column.form == ValueForm::bytes) value.length = std::min(value.length, value.readable);
        put_u16(conn_.channel, column.wire_type);
        put_u32(conn_.channel, static_cast<uint32_t>(value.length));
        put_value(conn_.channel, column.form, value);
    }
    ++row_;
}

void BatchEncoder::send_complete_rows() noexcept {
    if (complete_ == 0) return;
    put_u32(conn_.channel, static_cast<uint32_t>(complete_));
    put_bytes(conn_.channel, staged_.get(), complete_);
    complete_ = 0;
}

// Sends the complete rows, and adds room when the row in progress does not fit even so. Where that row goes on; null when memory
// is short.
uint8_t* BatchEncoder::make_room(const uint8_t* to, size_t size) noexcept {
    const uint8_t* row = staged_.get() + complete_;
    const size_t begun = static_cast<size_t>(to - row);
    send_complete_rows();
    std::memmove(staged_.get(), row, begun);
    if (begun + size > room()) {
        const size_t grown_room = room() + size;
        void* grown = resize_zeroed(staged_.get(), room() + short_run, grown_room + short_run);
        if (!grown) return nullptr;
        (void)staged_.release();
        staged_.reset(static_cast<uint8_t*>(grown));
        room_end_ = staged_.get() + grown_room;
    }
    return staged_.get() + begun;
}

// Begins a value of so many bytes with its wire type. False when memory is short, as with all that stage.
inline bool BatchEncoder::begin_value(uint8_t*& to, const ArrayColumn& column, size_t size) noexcept {
    size += value_head_size;
    if (size > static_cast<size_t>(room_end_ - to)) [[unlikely]] {
        to = make_room(to, size);
        if (!to) return false;
    }
    *to = static_cast<uint8_t>(column.wire_type);
    to += type_size_;
    return true;
}

inline bool BatchEncoder::stage_empty(uint8_t*& to, const ArrayColumn& column) noexcept {
    if (!begin_value(to, column, 0)) return false;
    if (column.form == ValueForm::unknown) return true;
    store(to, uint32_t{0});
    to += sizeof(uint32_t);
    return true;
}

// Arrays of numbers have elements of their numbers' size, and the bind has seen that all are there.
template <class T>
inline bool BatchEncoder::stage_number(uint8_t*& to, ArrayColumn& column, int32_t length) noexcept {
    const uint8_t* element = column.element;
    column.element += sizeof(T);
    if (length <= 0) return stage_empty(to, column);
    if (!begin_value(to, column, sizeof(T))) return false;
    store_wire(to, sizeof(T) == 4 ? uint32_t{4} : static_cast<uint32_t>(length));
    store_wire(to + sizeof(uint32_t), load<T>(element));
    to += sizeof(uint32_t) + sizeof(T);
    return true;
}

inline bool BatchEncoder::stage_bytes(uint8_t*& to, ArrayColumn& column, int32_t length) noexcept {
    const BoundValue value = take_element(column, length);
    const uint32_t size = static_cast<uint32_t>(std::max(std::min(length, value.readable), 0));
    if (!begin_value(to, column, size)) return false;
    store_wire(to, size);
    to += sizeof size;
    if (size <= short_run && value.readable >= static_cast<int32_t>(short_run))
        copy_short_run(to, value.bytes);
    else
        std::memcpy(to, value.bytes, size);
    to += size;
    return true;
}

inline bool BatchEncoder::stage_value(uint8_t*& to, ArrayColumn& column, int32_t row) noexcept {
    if (row >= column.rows) return stage_empty(to, column);
    const int32_t length = column.lengths[row];
    switch (column.form) {
    case ValueForm::u16: return stage_number<uint16_t>(to, column, length);
    case ValueForm::u32: return stage_number<uint32_t>(to, column, length);
    case ValueForm::u64: return stage_number<uint64_t>(to, column, length);
    case ValueForm::bytes: return stage_bytes(to, column, length);
    default: return stage_empty(to, column);
    }
}

// The end of what is staged is a variable of this function, which stays in a register as long as all that stage are inlined: the
// compiler must assume that staged bytes change the members.
bool BatchEncoder::stage_rows(int32_t end) noexcept {
    uint8_t* to = staged_.get();
    ArrayColumn* const columns_end = columns_.get() + set_.count;
    for (int32_t row = row_; row < end; ++row) {
        for (ArrayColumn* column = columns_.get(); column != columns_end; ++column)
            if (!stage_value(to, *column, row)) return false;
        complete_ = static_cast<size_t>(to - staged_.get());
        if (complete_ + staging_reserve <= room() && complete_ <= staging_size) continue;
        send_complete_rows();
        to = staged_.get();
    }
    send_complete_rows();
    row_ = end;
    return true;
}

void BatchEncoder::encode(int32_t rows) noexcept {
    const int32_t end = row_ + rows;
    put_row();
    if (!stage_rows(end)) close_channel(conn_.channel);
}

} // namespace tarn
