// Memory for the rows and values of one result: blocks carved back to back from chunks of 64 KiB and freed together.
// Blocks are neither cleared nor aligned. A large block gets a chunk of its own, so that it wastes no rest. From the beginning
// of a block that was just taken short_run bytes may be written, however short it is.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace tarn {

struct PoolChunk {
    PoolChunk* next;
    uint8_t* buffer;
};

struct RowPool {
    PoolChunk* first;
    PoolChunk* current; // blocks are carved from here
    uint8_t* free;      // what is left of it
    uint8_t* end;
};

inline constexpr uint32_t pool_chunk_size = 65536;

// A pool with one empty chunk; null when memory is short.
RowPool* create_pool() noexcept;

void release_pool(RowPool* pool) noexcept;

// The slow half of take_block: a new chunk, or one of the block's own.
uint8_t* take_block_from_new_chunk(RowPool& pool, size_t size) noexcept;

// A block of size bytes and one more for a terminator; null when memory is short.
inline uint8_t* take_block(RowPool& pool, size_t size) noexcept {
    uint8_t* block = pool.free;
    if (static_cast<size_t>(pool.end - block) <= size) [[unlikely]]
        return take_block_from_new_chunk(pool, size);
    pool.free = block + size + 1;
    return block;
}

// Makes a heap block part of the pool, which releases it with the rest. False when memory is short: the block stays the
// caller's.
bool adopt_block(RowPool& pool, uint8_t* block) noexcept;

} // namespace tarn
