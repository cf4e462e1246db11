// Entries of single values.
#include "stmt/encode.h"

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "stmt/param_types.h"
#include "stmt/put_value.h"
#include "wire/send.h"

namespace tarn {

uint32_t entry_count(const ParamSet& set) noexcept {
    uint32_t count = 0;
    for (int32_t i = 0; i < set.count; ++i)
        count += set.slots[i].direction != TRN_DIRECTION_RETURN;
    return count;
}

void put_entry_head(Conn& conn, const ParamSlot& slot) noexcept {
    const size_t length = slot.name ? std::min(std::strlen(slot.name), size_t{UINT16_MAX}) : 0;
    put_u16(conn, static_cast<uint16_t>(length));
    put_bytes(conn, slot.name, length);
    put_u16(conn, static_cast<uint16_t>(slot.direction));
}

void put_value(Conn& conn, ValueForm form, const BoundValue& value) noexcept {
    if (value.length <= 0) return;
    switch (form) {
    case ValueForm::bytes: put_bytes(conn, value.bytes, static_cast<size_t>(value.length)); break;
    case ValueForm::u16: put_u16(conn, value.as<uint16_t>()); break;
    case ValueForm::u32: put_u32(conn, value.as<uint32_t>()); break;
    case ValueForm::u64: put_u64(conn, value.as<uint64_t>()); break;
    default: break;
    }
}

// Sends the chunks as they lie in the chain.
static bool put_chunks(Conn& conn, const Lob& lob, bool checked) noexcept {
    int64_t left = lob.total_len;
    for (const LobChunk* chunk = lob.head_chunk; chunk && left > 0; chunk = chunk->next) {
        const int64_t size = std::min(left, static_cast<int64_t>(lob_chunk_size));
        if (put_bytes(conn, chunk->data, static_cast<size_t>(size)) == -1 && checked) return false;
        left -= size;
    }
    return true;
}

// The content in one piece; false when memory is short.
static bool put_gathered(Conn& conn, const Lob& lob) noexcept {
    const size_t size = static_cast<size_t>(lob.total_len);
    const Owned<uint8_t> whole(static_cast<uint8_t*>(allocate_raw(size + 1)));
    if (!whole) return false;
    size_t filled = 0;
    for (const LobChunk* chunk = lob.head_chunk; chunk && filled < size; chunk = chunk->next) {
        const size_t step = std::min(size - filled, lob_chunk_size);
        std::memcpy(whole.get() + filled, chunk->data, step);
        filled += step;
    }
    put_bytes(conn, whole.get(), size);
    return true;
}

// Binary contents above this size leave in one piece; character contents never do, nor are their sends looked at.
static constexpr int64_t largest_in_chunks = 534773760;

static bool put_lob(Conn& conn, const ParamSlot& slot) noexcept {
    const Lob* lob = slot.lob ? slot.lob : lob_of_value(slot.value).lob;
    const bool sent = lob && lob->state == LobState::complete;
    put_u32(conn, sent ? static_cast<uint32_t>(lob->total_len) : 0);
    if (!sent) return true;
    const bool binary = slot.data_type != TRN_TYPE_CLOB;
    if (binary && lob->total_len > largest_in_chunks && put_gathered(conn, *lob)) return true;
    if (put_chunks(conn, *lob, binary)) return true;
    print_line("%s", message::print_lob_unsent);
    return false;
}

static BoundValue single_value(const ParamSlot& slot) noexcept {
    if (!slot.value || !slot.length) return {};
    return {static_cast<const uint8_t*>(slot.value), readable_bytes(slot), *slot.length};
}

static bool put_entry(Conn& conn, const ParamSlot& slot) noexcept {
    const ParamType type = param_type(slot.data_type);
    put_entry_head(conn, slot);
    put_u16(conn, type.wire_type);
    if (type.single == ValueForm::lob) return put_lob(conn, slot);
    BoundValue value = type.single == ValueForm::none ? BoundValue{} : single_value(slot);
    if (type.single == ValueForm::bytes) value.length = std::min(value.length, value.readable);
    if (slot.data_type == TRN_TYPE_INTEGER) value.length = value.length >= 1 ? 4 : 0;
    put_u32(conn, static_cast<uint32_t>(value.length));
    put_value(conn, type.single, value);
    return true;
}

int32_t encode_params(Conn& conn, const ParamSet& set) noexcept {
    if (set.array_size > 0) return 0;
    for (int32_t i = 0; i < set.count; ++i)
        if (set.slots[i].direction != TRN_DIRECTION_RETURN && !put_entry(conn, set.slots[i])) return -1;
    return 0;
}

} // namespace tarn
