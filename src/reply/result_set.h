// One result item of a reply: its columns, its rows in wire form, the current row. Items of one reply form a
// chain.
#pragma once

#include <cstdint>
#include <memory>

#include "conn/conn.h"
#include "conn/handle.h"
#include "reply/row_store.h"

namespace tarn {

struct ColumnDesc {
    char* table; // null: not part of the name
    char* name;  // table and name are cut out of one owned block, which begins at the first of them
    char* label; // null: none; in the same block
    int32_t api_type;
    int32_t modifier; // as sent
    int32_t flags;    // as sent
};

// The part of a column that receiving and reading need for every value, kept small and separate.
struct Column {
    const uint8_t* value; // in the current row, its length field first; see ResultSet::last_located
    int32_t wire_type;
    uint32_t width; // of a fixed value; 0: a value is as long as its length says
};

struct ResultSet {
    Handle head;  // TRN_KIND_RESULT; its error text joins the server's texts that arrived between rows
    int32_t kind; // TRN_ITEM_*
    int32_t column_count;
    ColumnDesc* descriptions;
    Column* columns; // of the same columns, and one more for the end of the row
    int64_t row_count;
    RowStore rows;
    RowCursor upcoming;     // the rows not read yet
    Column* last_located;   // columns up to this one have their value; null: no current row
    int32_t affected;       // rows of an update or delete
    Conn* conn;             // the connection that received it; a reference
    ResultSet* next;        // the next item of the same reply
    int32_t lob_descriptor; // of that connection: large objects arrived marked, or as descriptors
    char insert_id[32];
};

// A zeroed item; null when memory is short.
ResultSet* create_result(Conn& conn, int32_t kind) noexcept;

// Releases one item, not the rest of its chain; null is accepted.
void release_result(ResultSet* result) noexcept;

// Releases the column descriptions, or the rows, of an item.
void drop_columns(ResultSet& result) noexcept;
void drop_rows(ResultSet& result) noexcept;

// Releases an item and all that follow it; null is accepted.
void release_chain(ResultSet* head) noexcept;

// Stores a chain, which may be null, in the application's variable, or releases it when there is no variable.
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
    return has_column(result, column) ? &result.descriptions[column - 1] : nullptr;
}

// Makes the next row the current one. False after the last, when there is no longer a current row.
inline bool go_to_next_row(ResultSet& result) noexcept {
    // Rows are read forward only, and released block by block once read, so that an application that copies a
    // large result does not hold it twice.
    if (result.upcoming.next == result.upcoming.end) [[unlikely]]
        release_rows_before(result.rows, result.upcoming.block);
    const uint8_t* row = next_row(result.upcoming);
    result.last_located = row ? result.columns : nullptr;
    if (row) result.columns->value = row;
    return row;
}

} // namespace tarn
