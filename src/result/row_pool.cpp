#include "result/row_pool.h"

#include "base/memory.h"

namespace tarn {

static PoolChunk* create_chunk(size_t size) noexcept {
    Owned<PoolChunk> chunk(allocate_record<PoolChunk>());
    if (!chunk) return nullptr;
    chunk->buffer = static_cast<uint8_t*>(allocate_raw(size));
    if (!chunk->buffer) return nullptr;
    chunk->left = static_cast<uint32_t>(size);
    return chunk.release();
}

RowPool* create_pool() noexcept {
    Owned<RowPool> pool(allocate_record<RowPool>());
    if (!pool) return nullptr;
    pool->first = pool->current = create_chunk(pool_chunk_size);
    return pool->first ? pool.release() : nullptr;
}

void release_pool(RowPool* pool) noexcept {
    if (!pool) return;
    for (PoolChunk* chunk = pool->first; chunk;) {
        PoolChunk* next = chunk->next;
        release(chunk->buffer);
        release(chunk);
        chunk = next;
    }
    release(pool);
}

// A chunk that is full from the start goes ahead of the others: the current one stays current.
static void link_full_chunk(RowPool& pool, PoolChunk* chunk) noexcept {
    chunk->next = pool.first;
    pool.first = chunk;
}

uint8_t* take_block_from_new_chunk(RowPool& pool, size_t size) noexcept {
    constexpr size_t half_chunk = pool_chunk_size / 2;
    const size_t reserved = size + 1;
    // A block of more than half a chunk opens a new chunk only when the current one is half used up as well.
    const bool shares_chunk =
        reserved <= pool_chunk_size && (reserved <= half_chunk || pool.current->left <= half_chunk);
    if (!shares_chunk) {
        PoolChunk* own = create_chunk(reserved);
        if (!own) return nullptr;
        own->used = own->left;
        own->left = 0;
        link_full_chunk(pool, own);
        return own->buffer;
    }
    PoolChunk* chunk = create_chunk(pool_chunk_size);
    if (!chunk) return nullptr;
    pool.current->next = chunk;
    pool.current = chunk;
    chunk->used = static_cast<uint32_t>(reserved);
    chunk->left -= chunk->used;
    return chunk->buffer;
}

bool adopt_block(RowPool& pool, uint8_t* block) noexcept {
    PoolChunk* chunk = allocate_record<PoolChunk>();
    if (!chunk) return false;
    chunk->buffer = block;
    link_full_chunk(pool, chunk);
    return true;
}

} // namespace tarn
