// Reading a query result off the wire: column descriptions, then rows.
#pragma once

#include <cstdint>

#include "reply/result_set.h"

namespace tarn {

inline constexpr int32_t column_limit = 4000;
inline constexpr int32_t column_name_limit = 1024;

// The most rows of one result.
inline constexpr int64_t row_limit = 1347376000;

// Reads the column descriptions. TRN_ERR_NETWORK for a count out of range or unreadable, TRN_ERR_SERVER for a
// name out of range or a description that breaks off: the item then has no columns, and its reader continues
// with the rows. TRN_ERR_MEMORY leaves the channel closed.
int32_t read_columns(Channel& channel, ResultSet& result) noexcept;

// Reads and discards column descriptions. TRN_OK; TRN_ERR_NETWORK or TRN_ERR_MEMORY with the channel closed:
// nothing can be parsed after an unreadable description.
int32_t skip_columns(Conn& conn) noexcept;

struct RowBatch {
    int32_t stored;
    int32_t status; // TRN_OK; TRN_ERR_NETWORK, TRN_ERR_MEMORY, TRN_ERR_SERVER (row limit) broke the batch off
};

// Stores up to limit rows; fewer when the next message is no row. Texts that arrive between rows join the
// item's error text. TRN_ERR_MEMORY and TRN_ERR_SERVER leave the channel closed.
RowBatch read_rows(Channel& channel, ResultSet& result, int32_t limit) noexcept;

// No more rows come: the item can now be read from its first row.
void end_rows(ResultSet& result) noexcept;

} // namespace tarn
