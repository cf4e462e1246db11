// One result item of a reply: its columns, its stored rows, the row being read. Items of one reply form a chain.
//
// A stored row is one block of row_size bytes of the pool: a bitmap with one bit a column, set for null, then the column slots
// back to back. A fixed value lies in its slot in host order; a held value's slot holds a 32-bit length and behind it a
// pointer to the value's zero-terminated bytes in the pool. Memory that is touched for the first time is what a row costs
// most, so nothing is kept that no call can ask for: not the identifier that a row may arrive with.
#pragma once

#include <cstdint>
#include <memory>

#include "conn/conn.h"
#include "conn/handle.h"
#include "result/row_directory.h"
#include "result/row_pool.h"

namespace tarn {

inline constexpr int32_t held_pointer_offset = 4; // inside a held value's slot

struct ColumnDesc {
    char* table; // null: the name carries none
    char* name;  // table and name are cut out of one owned block, which begins at the first of them
    char* label; // null: none; in the same block
    int32_t api_type;
    int32_t modifier; // as sent
    int32_t flags;    // as sent
};

// Where a column's value lies in a row: all that reception and reading ask for with every value, and therefore kept small and
// apart.
struct Slot {
    int32_t wire_type;
    int32_t offset;      // inside a row
    int32_t null_offset; // of the byte with the null bit
    uint8_t null_bit;
    uint8_t size;
};

struct ResultSet {
    Handle head;  // TRN_KIND_RESULT; its error text joins the server's texts that arrived between rows
    int32_t kind; // TRN_ITEM_*
    int32_t column_count;
    ColumnDesc* columns;
    Slot* slots; // of the same columns
    int32_t row_size;
    int32_t affected;        // rows of an update or delete
    int64_t current;         // index of the next row to hand out
    int64_t row_count;       // rows stored
    RowRun upcoming;         // the rows from current on, as far as they lie together
    uint8_t* current_row;    // the row handed out last, or null
    RowDirectory* directory; // null until a row is stored
    RowPool* pool;
    Conn* conn;             // the connection that received it; a reference
    int32_t lob_descriptor; // of that connection: large objects arrived marked, or as descriptors
    ResultSet* next;        // the next item of the same reply
    char insert_id[32];
};

// A zeroed item; null when memory is short.
ResultSet* create_result(Conn& conn, int32_t kind) noexcept;

// Releases one item with everything it holds, not the rest of its chain; null is accepted.
void release_result(ResultSet* result) noexcept;

// Releases the column descriptions, or the rows with their pool and directory, and leaves the item without them.
void release_columns(ResultSet& result) noexcept;
void release_rows(ResultSet& result) noexcept;

// Releases an item and all that follow it; null is accepted.
void release_chain(ResultSet* head) noexcept;

// Gives a chain, which may be null, to the application's variable, or releases it when there is no variable.
void hand_out(ResultSet* head, TRN_HANDLE* out) noexcept;

struct ResultReleaser {
    void operator()(ResultSet* result) const noexcept { release_result(result); }
};
using OwnedResult = std::unique_ptr<ResultSet, ResultReleaser>;

// The result behind a handle variable; null when there is none or it is of another kind.
inline ResultSet* result_of(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_RESULT ? static_cast<ResultSet*>(*handle) : nullptr;
}

inline bool has_column(const ResultSet& result, int32_t column) noexcept {
    return static_cast<uint32_t>(column) - 1 < static_cast<uint32_t>(result.column_count);
}

// The description of a 1-based column number; null when out of range.
inline const ColumnDesc* column_of(const ResultSet& result, int32_t column) noexcept {
    return has_column(result, column) ? &result.columns[column - 1] : nullptr;
}

inline uint32_t bitmap_size(int32_t column_count) noexcept {
    return (static_cast<uint32_t>(column_count) + 7) / 8;
}

// The slow half of append_row: the first row, or the first of another block.
int32_t append_row_to_new_block(ResultSet& result, uint8_t* row) noexcept;

// Stores a row. TRN_OK; TRN_ERR_SERVER at the row limit, which the item's error text then names; TRN_ERR_MEMORY.
inline int32_t append_row(ResultSet& result, uint8_t* row) noexcept {
    if (!result.directory || !store_row(*result.directory, row)) [[unlikely]]
        return append_row_to_new_block(result, row);
    ++result.row_count;
    return TRN_OK;
}

} // namespace tarn
