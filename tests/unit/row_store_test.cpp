// The row pool and the row directory, beyond the sizes that ordinary results reach.
#include <gtest/gtest.h>

#include "base/memory.h"
#include "result/row_directory.h"
#include "result/row_pool.h"

using namespace tarn;

static uint8_t* mark(int64_t index) {
    return reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(index) * 2 + 1);
}

TEST(row_directory, finds_every_row_across_tiers) {
    RowDirectory* directory = allocate_record<RowDirectory>();
    constexpr int64_t rows = 5400000; // two blocks into the fourth tier
    for (int64_t i = 0; i < rows; ++i)
        if (!store_row(*directory, mark(i))) {
            ASSERT_EQ(add_block(*directory), DirectoryOutcome::ready);
            ASSERT_TRUE(store_row(*directory, mark(i)));
        }
    for (int64_t i = 0; i < rows; ++i)
        ASSERT_EQ(*rows_from(*directory, i).next, mark(i)) << i;
    EXPECT_EQ(directory->block_count, 16 + 16 + 32 + 3);
    release_directory(directory);
}

TEST(row_directory, finds_the_first_row_of_the_last_tier) {
    RowDirectory directory{};
    uint8_t* cell = mark(7);
    directory.blocks[128] = &cell;
    EXPECT_EQ(*rows_from(directory, 67376000).next, mark(7));
}

TEST(row_directory, refuses_the_257th_block) {
    RowDirectory full{};
    full.block_count = directory_block_limit;
    EXPECT_EQ(add_block(full), DirectoryOutcome::full);
}

TEST(row_pool, a_large_block_leaves_the_current_chunk_in_use) {
    RowPool* pool = create_pool();
    uint8_t* before = take_block(*pool, 100);
    take_block(*pool, 200000);
    EXPECT_EQ(take_block(*pool, 100), before + 101);
    release_pool(pool);
}
