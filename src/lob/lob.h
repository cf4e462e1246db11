// The large-object record: content in a chain of chunks of 1 MiB, all full but the last, so that appending
// never moves bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "conn/handle.h"

namespace tarn {

inline constexpr size_t lob_chunk_size = 1024 * 1024;

struct LobChunk {
    LobChunk* next;
    uint8_t* data; // lob_chunk_size bytes
};

enum class LobState : int32_t {
    empty,
    growing,  // written to; more may follow
    complete, // closed by the application, or filled from a result; only these are sent
};

struct Lob {
    Handle head;        // TRN_KIND_LOB
    int32_t references; // the application's handle, and each parameter it is bound to
    int32_t chunk_count;
    LobState state;
    int64_t total_len;
    int64_t read_pos; // 0..total_len
    LobChunk* tail_chunk;
    LobChunk* head_chunk;
    char* descriptor; // owned; the server's descriptor, if the content was fetched by one
};

// The large object behind a handle variable; null when there is none or it is of another kind.
inline Lob* lob_of(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_LOB ? static_cast<Lob*>(*handle) : nullptr;
}

// Where to append: room bytes (at least one) at the returned address, in a new chunk when the last is full.
// Null when memory is short. The caller fills some of them and adds their number to total_len.
uint8_t* lob_tail(Lob& lob, size_t& room) noexcept;

// Appends bytes. False when memory is short: what was appended so far stays.
bool append_to_lob(Lob& lob, const uint8_t* bytes, size_t size) noexcept;

// Replaces the content. False when memory is short: the object is not complete then, and is not sent.
bool fill_lob(Lob& lob, const uint8_t* bytes, size_t size) noexcept;

// Releases the content, the descriptor and the error text; the state does not change.
void reset_lob(Lob& lob) noexcept;

// Adds and removes a holder of the record; null is accepted.
Lob* retain(Lob* lob) noexcept;
void drop_reference(Lob* lob) noexcept;

} // namespace tarn
