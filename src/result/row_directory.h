// Where the rows of a result lie: row pointers in blocks whose size grows tenfold from tier to tier, so that a huge result
// needs few allocations and finding a row is one division.
#pragma once

#include <cstdint>

namespace tarn {

inline constexpr int32_t directory_block_limit = 256;

struct RowDirectory {
    uint8_t** next; // the cell of the next row, inside the last block
    uint8_t** end;  // of the last block; equal to next when another block is needed
    int32_t block_count;
    uint8_t** blocks[directory_block_limit];
};

// The most rows that a directory holds.
inline constexpr int64_t directory_row_limit = 1347376000;

enum class DirectoryOutcome {
    ready,
    full,
    out_of_memory,
};

// Makes room for rows behind the last one.
DirectoryOutcome add_block(RowDirectory& directory) noexcept;

// Stores the next row: the first gets index 0. False when another block is needed.
inline bool store_row(RowDirectory& directory, uint8_t* row) noexcept {
    if (directory.next == directory.end) return false;
    *directory.next++ = row;
    return true;
}

// Rows that follow each other without a gap.
struct RowRun {
    uint8_t** next;
    uint8_t** end; // of the block, whether all of its cells are in use or not
};

// The run that begins with a stored row.
RowRun rows_from(const RowDirectory& directory, int64_t index) noexcept;

// Null is accepted.
void release_directory(RowDirectory* directory) noexcept;

} // namespace tarn
