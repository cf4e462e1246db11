// Where the rows of a result lie: row pointers in blocks whose size grows tenfold from tier to tier, so that a huge result
// needs few allocations and finding a row is one division.
#pragma once

#include <cstdint>

namespace tarn {

inline constexpr int32_t directory_block_limit = 256;

struct RowDirectory {
    int64_t capacity; // rows that the blocks made so far can hold
    int32_t block_count;
    uint8_t** blocks[directory_block_limit];
};

// The most rows that a directory holds.
inline constexpr int64_t directory_row_limit = 1347376000;

enum class DirectoryOutcome {
    stored,
    full,
    out_of_memory,
};

// Stores the row of that index; indexes are stored in order from 0.
DirectoryOutcome store_row(RowDirectory& directory, int64_t index, uint8_t* row) noexcept;

// The row of an index that has been stored.
uint8_t* find_row(const RowDirectory& directory, int64_t index) noexcept;

// Null is accepted.
void release_directory(RowDirectory* directory) noexcept;

} // namespace tarn
