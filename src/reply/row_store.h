// The rows of one result in wire form: whole rows back to back in blocks of memory.
//
// A stored row is a head, from which the start of the next row follows, and its columns in wire form. The
// head of a short row is one byte, the size of head and columns, in place of the message type. The head of a
// longer row is the byte 255, the same size in 32 bits, in host order, and in 32 more bits the distance to
// the row rows_ahead further on in its block, 0 if there is none. A row larger than the receive buffer has
// its own block and the size 0.
//
// Short rows are so close together that the hardware prefetches them. When only few columns of long rows are
// read, each head would be a cache miss if it were not prefetched some rows ahead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/bytes.h"

namespace tarn {

inline constexpr size_t longest_short_row = 254; // head included
inline constexpr uint8_t long_row_mark = 255;
inline constexpr size_t long_row_head = 9;
inline constexpr size_t rows_ahead = 8;

// The rows follow the record.
struct RowBlock {
    RowBlock* next;
    size_t size;

    uint8_t* rows() noexcept { return reinterpret_cast<uint8_t*>(this + 1); }
    const uint8_t* rows() const noexcept { return reinterpret_cast<const uint8_t*>(this + 1); }
};

// All zero: no rows.
struct RowStore {
    RowBlock* first;
    RowBlock** last;             // the link to the block being filled; null: none
    size_t room;                 // left in it
    size_t last_capacity;        // of it
    size_t prepared;             // bytes from its start that are prefaulted
    uint8_t* recent[rows_ahead]; // the last long rows in it
    size_t long_rows;
};

// Stores whole short rows that already have their heads. False when memory is short.
bool store_short_rows(RowStore& store, const uint8_t* rows, size_t size) noexcept;

// Stores the columns of one row that is no larger than the receive buffer. False when memory is short.
bool store_row(RowStore& store, const uint8_t* columns, size_t size) noexcept;

// Returns the unused memory of the last block, when no more rows will come.
void trim_rows(RowStore& store) noexcept;

void release_rows(RowStore& store) noexcept;

// Releases the blocks before one, or all when it is null. No rows can be stored afterwards.
void release_rows_before(RowStore& store, const RowBlock* kept) noexcept;

struct BlockReleaser {
    void operator()(RowBlock* block) const noexcept;
};

// A row that is larger than the receive buffer, growing as its bytes arrive.
class LargeRow {
  public:
    // Starts with the columns that have arrived so far. False when memory is short.
    bool begin(const uint8_t* columns, size_t size) noexcept;

    size_t size() const noexcept { return block_->size - long_row_head; }
    const uint8_t* columns() const noexcept { return block_->rows() + long_row_head; }

    // Space for the next bytes, of which wanted are still to come: room is set to how many fit, at least one
    // and at most wanted. Memory grows in proportion to what has arrived, not to wanted. Null when memory is
    // short.
    uint8_t* extend(size_t wanted, size_t& room) noexcept;
    void filled(size_t size) noexcept { block_->size += size; }

    void store_in(RowStore& store) noexcept;

  private:
    bool resize(size_t capacity) noexcept;

    std::unique_ptr<RowBlock, BlockReleaser> block_;
    size_t capacity_ = 0;
};

// A walk over stored rows.
struct RowCursor {
    const RowBlock* block; // the next one
    const uint8_t* next;   // the next row; equal to end when it is in another block
    const uint8_t* end;
};

RowCursor first_row(const RowStore& store) noexcept;

// The columns of the next row; null after the last.
inline const uint8_t* next_row(RowCursor& cursor) noexcept {
    if (cursor.next == cursor.end) {
        if (!cursor.block) return nullptr;
        const RowBlock* block = cursor.block;
        cursor = {block->next, block->rows(), block->rows() + block->size};
    }
    const uint8_t* row = cursor.next;
    if (*row != long_row_mark) [[likely]] {
        cursor.next = row + *row;
        return row + 1;
    }
    const uint32_t size = load<uint32_t>(row + 1);
    const uint8_t* ahead = row + load<uint32_t>(row + 5);
    __builtin_prefetch(ahead);
    __builtin_prefetch(ahead + 64);
    cursor.next = size ? row + size : cursor.end;
    return row + long_row_head;
}

} // namespace tarn
