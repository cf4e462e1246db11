#include "result/row_directory.h"

#include "base/memory.h"

namespace tarn {

struct Tier {
    int64_t first_row;
    int64_t end_row;
    int32_t first_block;
    int32_t rows_per_block;
};

static constexpr Tier tiers[] = {
    {0, 16000, 0, 1000},
    {16000, 176000, 16, 10000},
    {176000, 3376000, 32, 100000},
    {3376000, 67376000, 64, 1000000},
    {67376000, directory_row_limit, 128, 10000000},
};

namespace {

struct Place {
    int32_t block;
    int32_t cell;
};

} // namespace

template <int tier> static Place place_in(int64_t index) noexcept {
    // The tier is a constant here, so that the division is by a constant too.
    constexpr Tier t = tiers[tier];
    const int64_t within = index - t.first_row;
    return {t.first_block + static_cast<int32_t>(within / t.rows_per_block),
            static_cast<int32_t>(within % t.rows_per_block)};
}

static Place place_of(int64_t index) noexcept {
    if (index < tiers[0].end_row) return place_in<0>(index);
    if (index < tiers[1].end_row) return place_in<1>(index);
    if (index < tiers[2].end_row) return place_in<2>(index);
    if (index < tiers[3].end_row) return place_in<3>(index);
    return place_in<4>(index);
}

static int32_t rows_of_block(int32_t block) noexcept {
    int32_t rows = 0;
    for (const Tier& tier : tiers)
        if (block >= tier.first_block) rows = tier.rows_per_block;
    return rows;
}

DirectoryOutcome add_block(RowDirectory& directory) noexcept {
    if (directory.block_count == directory_block_limit) return DirectoryOutcome::full;
    const int32_t rows = rows_of_block(directory.block_count);
    uint8_t** block = allocate_array<uint8_t*>(static_cast<size_t>(rows)).release();
    if (!block) return DirectoryOutcome::out_of_memory;
    directory.blocks[directory.block_count++] = block;
    directory.next = block;
    directory.end = block + rows;
    return DirectoryOutcome::ready;
}

RowRun rows_from(const RowDirectory& directory, int64_t index) noexcept {
    const Place place = place_of(index);
    uint8_t** block = directory.blocks[place.block];
    return {block + place.cell, block + rows_of_block(place.block)};
}

void release_directory(RowDirectory* directory) noexcept {
    if (!directory) return;
    for (int32_t i = 0; i < directory->block_count; ++i)
        release(directory->blocks[i]);
    release(directory);
}

} // namespace tarn
