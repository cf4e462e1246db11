// Entries of single values, and the check that a set fits the fields of the wire.
#include "stmt/encode.h"

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "stmt/param_types.h"
#include "stmt/put_value.h"
#include "wire/protocol_trace.h"
#include "wire/send.h"

namespace tarn {

static bool is_sent(const ParamSlot& slot) noexcept {
    return slot.direction != TRN_DIRECTION_RETURN;
}

uint32_t entry_count(const ParamSet& set) noexcept {
    return static_cast<uint32_t>(std::count_if(set.slots, set.slots + set.count, is_sent));
}

static bool head_fits(const ParamSlot& slot) noexcept {
    return !is_sent(slot) || !slot.name || std::strlen(slot.name) <= UINT16_MAX;
}

// The object that a slot sends; null if none, or if it is incomplete.
static const Lob* sent_lob(const ParamSlot& slot) noexcept {
    const Lob* lob = slot.lob ? slot.lob : lob_of_value(slot.value).lob;
    return lob && lob->state == LobState::complete ? lob : nullptr;
}

static bool lob_fits(const ParamSlot& slot) noexcept {
    if (!is_sent(slot) || param_type(slot.data_type).single != ValueForm::lob) return true;
    const Lob* lob = sent_lob(slot);
    return !lob || lob->total_len <= UINT32_MAX;
}

static bool heads_fit(const ParamSet& set) noexcept {
    return entry_count(set) <= UINT16_MAX && std::all_of(set.slots, set.slots + set.count, head_fits);
}

int32_t check_entries(const ParamSet& set) noexcept {
    // Of arrays only the count is sent.
    const bool fits = set.array_size > 0
                          ? entry_count(set) <= UINT16_MAX
                          : heads_fit(set) && std::all_of(set.slots, set.slots + set.count, lob_fits);
    return fits ? TRN_OK : TRN_ERR_ARGUMENT;
}

// The largest size of a row's element in a block, without its head.
static int64_t staged_size(const ArrayColumn& column, int32_t row) noexcept {
    if (row >= column.rows) return 0;
    return column.form == ValueForm::bytes
               ? std::clamp<int64_t>(column.lengths[row], 0, column.end - column.element)
               : sizeof(uint64_t);
}

int32_t check_rows(const ParamSet& set) noexcept {
    if (!heads_fit(set)) return TRN_ERR_ARGUMENT;
    constexpr int64_t value_head = 5, rows_in_front = 512000; // before the row, in the same block
    constexpr int64_t limit = UINT32_MAX - rows_in_front;
    int64_t most = 0; // of any row: no more than all elements of all arrays
    for (int32_t i = 0; i < set.count; ++i)
        most += value_head + int64_t{sizeof(uint64_t)} + readable_bytes(set.slots[i]);
    if (most <= limit) return TRN_OK;
    const Owned<int64_t[]> sizes = allocate_array<int64_t>(static_cast<size_t>(set.array_size));
    if (!sizes) return TRN_ERR_MEMORY;
    for (int32_t i = 0; i < set.count; ++i) {
        const ArrayColumn column = array_column(set.slots[i]);
        for (int32_t row = 0; row < set.array_size; ++row)
            sizes[static_cast<size_t>(row)] += value_head + staged_size(column, row);
    }
    const bool fits =
        std::all_of(sizes.get(), sizes.get() + set.array_size, [](int64_t size) { return size <= limit; });
    return fits ? TRN_OK : TRN_ERR_ARGUMENT;
}

void put_entry_head(Channel& channel, const ParamSlot& slot) noexcept {
    const size_t length = slot.name ? std::strlen(slot.name) : 0;
    put_u16(channel, static_cast<uint16_t>(length));
    put_bytes(channel, slot.name, length);
    put_u16(channel, static_cast<uint16_t>(slot.direction));
}

void put_value(Channel& channel, ValueForm form, const BoundValue& value) noexcept {
    if (value.length <= 0) return;
    switch (form) {
    case ValueForm::bytes: put_bytes(channel, value.bytes, static_cast<size_t>(value.length)); break;
    case ValueForm::u16: put_u16(channel, value.as<uint16_t>()); break;
    case ValueForm::u32: put_u32(channel, value.as<uint32_t>()); break;
    case ValueForm::u64: put_u64(channel, value.as<uint64_t>()); break;
    default: break;
    }
}

// Sends the chain chunk by chunk.
static bool put_chunks(Channel& channel, const Lob& lob, bool checked) noexcept {
    int64_t left = lob.total_len;
    for (const LobChunk* chunk = lob.head_chunk; chunk && left > 0; chunk = chunk->next) {
        const int64_t size = std::min(left, static_cast<int64_t>(lob_chunk_size));
        if (put_bytes(channel, chunk->data, static_cast<size_t>(size)) == -1 && checked) return false;
        left -= size;
    }
    return true;
}

// Sends the content in one piece; false when memory is short.
static bool put_gathered(Channel& channel, const Lob& lob) noexcept {
    const size_t size = static_cast<size_t>(lob.total_len);
    const Owned<uint8_t> whole(static_cast<uint8_t*>(allocate_raw(size + 1)));
    if (!whole) return false;
    size_t filled = 0;
    for (const LobChunk* chunk = lob.head_chunk; chunk && filled < size; chunk = chunk->next) {
        const size_t step = std::min(size - filled, lob_chunk_size);
        std::memcpy(whole.get() + filled, chunk->data, step);
        filled += step;
    }
    put_bytes(channel, whole.get(), size);
    return true;
}

// Binary contents above this size are sent in one piece; character contents never are, nor are their sends
// checked.
static constexpr int64_t largest_in_chunks = 534773760;

static bool put_lob(Channel& channel, const ParamSlot& slot) noexcept {
    const Lob* lob = sent_lob(slot);
    put_u32(channel, lob ? static_cast<uint32_t>(lob->total_len) : 0);
    if (!lob) return true;
    const bool binary = slot.data_type != TRN_TYPE_CLOB;
    if (binary && lob->total_len > largest_in_chunks && put_gathered(channel, *lob)) return true;
    if (put_chunks(channel, *lob, binary)) return true;
    return false;
}

static BoundValue single_value(const ParamSlot& slot) noexcept {
    if (!slot.value || !slot.length) return {};
    return {static_cast<const uint8_t*>(slot.value), readable_bytes(slot), *slot.length};
}

// The bytes of a value for the trace.
static size_t traced_size(const BoundValue& value) noexcept {
    return static_cast<size_t>(std::max(std::min(value.length, value.readable), 0));
}

static bool put_entry(Channel& channel, const ParamSlot& slot) noexcept {
    const ParamType type = param_type(slot.data_type);
    put_entry_head(channel, slot);
    put_u16(channel, type.wire_type);
    if (type.single == ValueForm::lob) return put_lob(channel, slot);
    BoundValue value = type.single == ValueForm::none ? BoundValue{} : single_value(slot);
    if (type.single == ValueForm::bytes) value.length = std::min(value.length, value.readable);
    if (slot.data_type == TRN_TYPE_INTEGER) value.length = value.length >= 1 ? 4 : 0;
    if (tracing(TraceLevel::values)) [[unlikely]]
        trace_value(channel, type.wire_type, value.bytes, traced_size(value));
    put_u32(channel, static_cast<uint32_t>(value.length));
    put_value(channel, type.single, value);
    return true;
}

int32_t encode_params(Channel& channel, const ParamSet& set) noexcept {
    if (set.array_size > 0) return 0;
    for (int32_t i = 0; i < set.count; ++i)
        if (is_sent(set.slots[i]) && !put_entry(channel, set.slots[i])) return -1;
    return 0;
}

} // namespace tarn
