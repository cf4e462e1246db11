#include "reply/row_store.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/platform.h"

namespace tarn {

// The first block has the size of what has arrived so far, so that a small result takes little memory; each
// later one is doubled, up to this.
static constexpr size_t largest_block = 1024 * 1024;

// Pages are prefaulted in steps of this size, which are still in the cache when the rows are copied there.
static constexpr size_t page_step = 256 * 1024;

static RowBlock* make_block(size_t capacity) noexcept {
    void* memory = platform::resize_block(nullptr, sizeof(RowBlock) + capacity);
    return memory ? new (memory) RowBlock{} : nullptr;
}

static void append_block(RowStore& store, RowBlock* block, size_t capacity) noexcept {
    store.last = store.last ? &(*store.last)->next : &store.first;
    *store.last = block;
    store.room = store.last_capacity = capacity;
    store.prepared = 0;
    std::fill(std::begin(store.recent), std::end(store.recent), nullptr);
}

static bool add_block(RowStore& store, size_t needed) noexcept {
    const size_t capacity = std::max(needed, std::min(2 * store.last_capacity, largest_block));
    RowBlock* block = make_block(capacity);
    if (!block) return false;
    append_block(store, block, capacity);
    return true;
}

// A block that doubles an earlier one will usually be filled.
static void prepare(RowStore& store, const RowBlock& block, size_t size) noexcept {
    const size_t end = block.size + size;
    if (end <= store.prepared || store.last_capacity < page_step) return;
    const size_t step =
        std::min(std::max(page_step, end - store.prepared), store.last_capacity - store.prepared);
    platform::prefault_pages(const_cast<uint8_t*>(block.rows()) + store.prepared, step);
    store.prepared += step;
}

// The next size bytes of the block, which has room for them.
static uint8_t* append(RowStore& store, size_t size) noexcept {
    RowBlock& block = **store.last;
    prepare(store, block, size);
    uint8_t* place = block.rows() + block.size;
    block.size += size;
    store.room -= size;
    return place;
}

// How many bytes of a run of short rows are whole rows, at most room.
static size_t whole_rows(const uint8_t* rows, size_t room) noexcept {
    size_t size = 0;
    while (size < room && size + rows[size] <= room)
        size += rows[size];
    return size;
}

bool store_short_rows(RowStore& store, const uint8_t* rows, size_t size) noexcept {
    if (size > store.room) {
        const size_t fitting = whole_rows(rows, store.room);
        if (fitting) std::memcpy(append(store, fitting), rows, fitting);
        rows += fitting;
        size -= fitting;
        if (!add_block(store, size)) return false;
    }
    std::memcpy(append(store, size), rows, size);
    return true;
}

// Writes the head of a row of size bytes, including the head, and returns where its columns go.
static uint8_t* put_long_head(uint8_t* row, uint32_t size) noexcept {
    *row = long_row_mark;
    store(row + 1, size);
    store(row + 5, uint32_t{0});
    return row + long_row_head;
}

// Records the address of this row in the one stored rows_ahead before it.
static void link_long_row(RowStore& store, uint8_t* row) noexcept {
    uint8_t*& earlier = store.recent[store.long_rows++ % rows_ahead];
    if (earlier) tarn::store(earlier + 5, static_cast<uint32_t>(row - earlier));
    earlier = row;
}

bool store_row(RowStore& store, const uint8_t* columns, size_t size) noexcept {
    const bool is_short = size + 1 <= longest_short_row;
    const size_t whole = size + (is_short ? 1 : long_row_head);
    if (whole > store.room && !add_block(store, whole)) return false;
    uint8_t* row = append(store, whole);
    if (is_short) {
        *row++ = static_cast<uint8_t>(whole);
    } else {
        link_long_row(store, row);
        row = put_long_head(row, static_cast<uint32_t>(whole));
    }
    if (size) std::memcpy(row, columns, size);
    return true;
}

void trim_rows(RowStore& store) noexcept {
    if (store.room == 0) return;
    void* trimmed = platform::resize_block(*store.last, sizeof(RowBlock) + (*store.last)->size);
    if (trimmed) *store.last = static_cast<RowBlock*>(trimmed);
    store.room = 0;
}

void release_rows(RowStore& store) noexcept {
    release_rows_before(store, nullptr);
    store = {};
}

void release_rows_before(RowStore& store, const RowBlock* kept) noexcept {
    while (store.first != kept) {
        RowBlock* next = store.first->next;
        platform::release_block(store.first);
        store.first = next;
    }
}

void BlockReleaser::operator()(RowBlock* block) const noexcept {
    platform::release_block(block);
}

bool LargeRow::resize(size_t capacity) noexcept {
    void* memory = platform::resize_block(block_.get(), sizeof(RowBlock) + capacity);
    if (!memory) return false;
    (void)block_.release();
    block_.reset(static_cast<RowBlock*>(memory));
    capacity_ = capacity;
    return true;
}

bool LargeRow::begin(const uint8_t* columns, size_t size) noexcept {
    if (!resize(2 * (long_row_head + size))) return false;
    *block_ = {nullptr, long_row_head + size};
    std::memcpy(put_long_head(block_->rows(), 0), columns, size);
    return true;
}

uint8_t* LargeRow::extend(size_t wanted, size_t& room) noexcept {
    constexpr size_t largest_step = 1024 * 1024;
    const size_t used = block_->size;
    if (used == capacity_ && !resize(2 * used) && !resize(used + std::min(wanted, used / 4))) return nullptr;
    room = std::min({wanted, capacity_ - used, largest_step});
    uint8_t* to = block_->rows() + used;
    if (room >= page_step) platform::prefault_pages(to, room);
    return to;
}

void LargeRow::store_in(RowStore& store) noexcept {
    if (store.last) trim_rows(store);
    append_block(store, block_.get(), block_->size);
    store.room = capacity_ - block_->size;
    (void)block_.release();
    trim_rows(store);
    store.last_capacity = 0; // small blocks again: the next row may be large too
}

RowCursor first_row(const RowStore& store) noexcept {
    return {store.first, nullptr, nullptr};
}

} // namespace tarn
