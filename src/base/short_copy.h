// Short copies without a call.
#pragma once

#include "base/bytes.h"

namespace tarn {

using Bytes16 = uint64_t __attribute__((vector_size(16)));

// Two overlapping words cover every size from one word to two.
template <class Word> void copy_overlapping(uint8_t* to, const uint8_t* from, size_t size) noexcept {
    const Word first = load<Word>(from), last = load<Word>(from + size - sizeof(Word));
    store(to, first);
    store(to + size - sizeof(Word), last);
}

// Copies up to 64 bytes.
inline void copy_short(uint8_t* to, const uint8_t* from, size_t size) noexcept {
    if (size > 32) {
        copy_overlapping<Bytes16>(to, from, 32);
        copy_overlapping<Bytes16>(to + size - 32, from + size - 32, 32);
    } else if (size >= 16) {
        copy_overlapping<Bytes16>(to, from, size);
    } else if (size >= 8) {
        copy_overlapping<uint64_t>(to, from, size);
    } else if (size >= 4) {
        copy_overlapping<uint32_t>(to, from, size);
    } else if (size > 0) {
        to[0] = from[0];
        if (size > 1) copy_overlapping<uint16_t>(to, from, size);
    }
}

// Clears 16 to 64 bytes.
inline void clear_short(uint8_t* to, size_t size) noexcept {
    store(to, Bytes16{});
    store(to + size - 16, Bytes16{});
    if (size <= 32) return;
    store(to + 16, Bytes16{});
    store(to + size - 32, Bytes16{});
}

} // namespace tarn
