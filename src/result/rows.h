// Reading a query result off the wire: column descriptions, then rows into the item's pool and directory.
#pragma once

#include <cstdint>

#include "result/result_set.h"

namespace tarn {

inline constexpr int32_t column_limit = 4000;
inline constexpr int32_t column_name_limit = 1024;

// Reads the column descriptions and lays out the row. TRN_ERR_NETWORK for a count out of range or unreadable, TRN_ERR_SERVER
// for a name out of range or a description that breaks off: the item is then without columns, and its reader goes on to the
// rows. TRN_ERR_MEMORY leaves the link broken.
int32_t read_columns(Conn& conn, ResultSet& result) noexcept;

struct RowBatch {
    int32_t stored;
    int32_t
        status; // TRN_OK, or why the batch broke off: TRN_ERR_NETWORK, TRN_ERR_MEMORY, TRN_ERR_SERVER (row limit)
};

// Stores up to limit rows; fewer when the next message is no row. Texts that arrive between rows join the item's error
// text. TRN_ERR_MEMORY and TRN_ERR_SERVER leave the link broken.
RowBatch read_rows(Conn& conn, ResultSet& result, int32_t limit) noexcept;

} // namespace tarn
