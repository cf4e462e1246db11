#include "result/row_pool.h"

#include "base/memory.h"
#include "platform/platform.h"

namespace tarn {

static PoolChunk* create_chunk(size_t size) noexcept {
    Owned<PoolChunk> chunk(allocate_record<PoolChunk>());
    if (!chunk) return nullptr;
    chunk->buffer = static_cast<uint8_t*>(allocate_raw(size + short_run));
    return chunk->buffer ? chunk.release() : nullptr;
}

static void carve_from(RowPool& pool, PoolChunk* chunk) noexcept {
    pool.current = chunk;
    pool.free = chunk->buffer;
    pool.end = chunk->buffer + pool_chunk_size;
}

RowPool* create_pool() noexcept {
    Owned<RowPool> pool(allocate_record<RowPool>());
    if (!pool) return nullptr;
    pool->first = create_chunk(pool_chunk_size);
    if (!pool->first) return nullptr;
    carve_from(*pool, pool->first);
    return pool.release();
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
    const size_t left = static_cast<size_t>(pool.end - pool.free);
    // A block of more than half a chunk opens a new chunk only when the current one is half used up as well.
    const bool shares_chunk = reserved <= pool_chunk_size && (reserved <= half_chunk || left <= half_chunk);
    PoolChunk* chunk = create_chunk(shares_chunk ? pool_chunk_size : reserved);
    if (!chunk) return nullptr;
    if (!shares_chunk) {
        link_full_chunk(pool, chunk);
        return chunk->buffer;
    }
    pool.current->next = chunk;
    carve_from(pool, chunk);
    // A pool that needs another chunk mostly fills it.
    platform::prepare_pages(chunk->buffer, pool_chunk_size);
    pool.free += reserved;
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
