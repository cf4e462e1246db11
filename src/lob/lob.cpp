// The large-object calls and the chunk chain.
#include "lob/lob.h"

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/references.h"
#include "base/text.h"
#include "conn/messages.h"
#include "platform/platform.h"

namespace tarn {

static bool add_chunk(Lob& lob) noexcept {
    Owned<LobChunk> chunk(allocate_record<LobChunk>());
    if (!chunk) return false;
    chunk->data = static_cast<uint8_t*>(allocate_raw(lob_chunk_size));
    if (!chunk->data) return false;
    // With a second chunk the object is large: prefault, since chunks will be filled.
    if (lob.head_chunk) platform::prefault_pages(chunk->data, lob_chunk_size);
    ++lob.chunk_count;
    (lob.tail_chunk ? lob.tail_chunk->next : lob.head_chunk) = chunk.get();
    lob.tail_chunk = chunk.release();
    return true;
}

uint8_t* lob_tail(Lob& lob, size_t& room) noexcept {
    const int64_t capacity = lob.chunk_count * static_cast<int64_t>(lob_chunk_size);
    if (lob.total_len == capacity && !add_chunk(lob)) return nullptr;
    const size_t used = static_cast<size_t>(lob.total_len) % lob_chunk_size;
    room = lob_chunk_size - used;
    return lob.tail_chunk->data + used;
}

bool append_to_lob(Lob& lob, const uint8_t* bytes, size_t size) noexcept {
    while (size) {
        size_t room;
        uint8_t* tail = lob_tail(lob, room);
        if (!tail) return false;
        const size_t step = std::min(size, room);
        std::memcpy(tail, bytes, step);
        lob.total_len += static_cast<int64_t>(step);
        bytes += step;
        size -= step;
    }
    return true;
}

void reset_lob(Lob& lob) noexcept {
    for (LobChunk* chunk = lob.head_chunk; chunk;) {
        LobChunk* next = chunk->next;
        release(chunk->data);
        release(chunk);
        chunk = next;
    }
    lob.head_chunk = lob.tail_chunk = nullptr;
    lob.chunk_count = 0;
    lob.total_len = lob.read_pos = 0;
    release(lob.descriptor);
    lob.descriptor = nullptr;
    set_error_text(lob.head, nullptr);
}

bool fill_lob(Lob& lob, const uint8_t* bytes, size_t size) noexcept {
    reset_lob(lob);
    lob.state = LobState::empty;
    if (!append_to_lob(lob, bytes, size)) return false;
    lob.state = LobState::complete;
    return true;
}

Lob* retain(Lob* lob) noexcept {
    if (lob) add_reference(lob->references);
    return lob;
}

void drop_reference(Lob* lob) noexcept {
    if (!lob || !remove_reference(lob->references)) return;
    reset_lob(*lob);
    release(lob);
}

// Copies from the read position; the caller has checked that there are this many bytes.
static void copy_content(const Lob& lob, uint8_t* to, size_t size) noexcept {
    if (size == 0) return;
    const LobChunk* chunk = lob.head_chunk;
    size_t offset = static_cast<size_t>(lob.read_pos);
    for (; offset >= lob_chunk_size; offset -= lob_chunk_size)
        chunk = chunk->next;
    for (; size; offset = 0, chunk = chunk->next) {
        const size_t step = std::min(size, lob_chunk_size - offset);
        std::memcpy(to, chunk->data + offset, step);
        to += step;
        size -= step;
    }
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Create_Lob(TRN_HANDLE* handle) {
    if (!handle) return TRN_ERR_ARGUMENT;
    Lob* lob = allocate_record<Lob>();
    if (!lob) return TRN_ERR_ARGUMENT;
    lob->head.kind = TRN_KIND_LOB;
    lob->references = 1;
    *handle = lob;
    return TRN_OK;
}

int32_t TRN_Put_Lob_data(TRN_HANDLE* handle, const void* data, int32_t length) {
    Lob* lob = lob_of(handle);
    if (!lob) return TRN_ERR_ARGUMENT;
    if (length == TRN_LOB_END) lob->state = LobState::complete;
    if (length <= 0 || !data) return TRN_OK;
    if (!append_to_lob(*lob, static_cast<const uint8_t*>(data), static_cast<size_t>(length)))
        return TRN_ERR_ARGUMENT;
    lob->state = LobState::growing;
    return TRN_OK;
}

int32_t TRN_Get_Lob_data(TRN_HANDLE* handle, void* buffer, int32_t capacity) {
    Lob* lob = lob_of(handle);
    if (!lob || !buffer) return TRN_ERR_ARGUMENT;
    const int64_t size = std::min(int64_t{std::max(capacity, 0)}, lob->total_len - lob->read_pos);
    copy_content(*lob, static_cast<uint8_t*>(buffer), static_cast<size_t>(size));
    lob->read_pos += size;
    return static_cast<int32_t>(size);
}

int32_t TRN_LobRead_SetPos(TRN_HANDLE* handle, int32_t position) {
    constexpr size_t text_area = 80;
    Lob* lob = lob_of(handle);
    if (!lob) return TRN_ERR_ARGUMENT;
    if (position >= 0 && position <= lob->total_len) {
        lob->read_pos = position;
        return position;
    }
    set_error_text(lob->head, position < 0 ? format_text(text_area, message::lob_position_negative, position)
                                           : format_text(text_area, message::lob_position_too_large, position,
                                                         static_cast<int32_t>(lob->total_len)));
    return -1;
}

int32_t TRN_Reset_Lob(TRN_HANDLE* handle) {
    if (!handle || !*handle) return TRN_OK;
    Lob* lob = lob_of(handle);
    if (!lob) return TRN_ERR_ARGUMENT;
    reset_lob(*lob);
    return TRN_OK;
}

int32_t TRN_Distroy_Lob(TRN_HANDLE* handle) {
    if (!handle || !*handle) return TRN_OK;
    Lob* lob = lob_of(handle);
    if (!lob) return TRN_ERR_ARGUMENT;
    // Parameters may still hold it; it is empty now.
    reset_lob(*lob);
    lob->state = LobState::empty;
    drop_reference(lob);
    *handle = nullptr;
    return TRN_OK;
}
