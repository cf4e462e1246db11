// The row pool and the row directory, beyond the sizes that ordinary results reach.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "base/memory.h"
#include "result/row_directory.h"
#include "result/row_pool.h"

using namespace tarn;

static uint8_t* mark(int64_t index) {
    return reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(index) * 2 + 1);
}

TEST(row_directory, finds_every_row_across_tiers) {
    struct Releaser {
        void operator()(RowDirectory* directory) const { release_directory(directory); }
    };
    const std::unique_ptr<RowDirectory, Releaser> directory(allocate_record<RowDirectory>());
    constexpr int64_t rows = 5400000; // two blocks into the fourth tier
    for (int64_t i = 0; i < rows; ++i)
        ASSERT_EQ(store_row(*directory, mark(i)), DirectoryOutcome::stored);
    for (int64_t i = 0; i < rows; ++i)
        ASSERT_EQ(find_row(*directory, i), mark(i)) << i;
    EXPECT_EQ(directory->block_count, 16 + 16 + 32 + 3);
}

TEST(row_directory, refuses_the_257th_block) {
    RowDirectory full{};
    full.block_count = directory_block_limit;
    EXPECT_EQ(store_row(full, mark(0)), DirectoryOutcome::full);
}

TEST(row_pool, blocks_lie_apart_and_stay_where_they_are) {
    struct Releaser {
        void operator()(RowPool* pool) const { release_pool(pool); }
    };
    const std::unique_ptr<RowPool, Releaser> pool(create_pool());
    ASSERT_TRUE(pool);
    struct Taken {
        uint8_t* block;
        size_t size;
    };
    std::vector<Taken> blocks;
    // Sizes on both sides of the chunk's and the half chunk's, small ones in between.
    for (const size_t size :
         {1, 0, 32767, 32768, 40, 32769, 65534, 7, 65535, 65536, 100, 65537, 300000, 1, 32766, 32769})
        for (int repeat = 0; repeat < 3; ++repeat) {
            uint8_t* block = take_block(*pool, size);
            ASSERT_TRUE(block);
            blocks.push_back({block, size});
            std::memset(block, static_cast<int>(blocks.size()), size + 1);
        }
    for (size_t n = 0; n < blocks.size(); ++n)
        for (size_t i = 0; i <= blocks[n].size; ++i)
            ASSERT_EQ(blocks[n].block[i], n + 1) << n;
}

TEST(row_pool, a_large_block_leaves_the_current_chunk_in_use) {
    RowPool* pool = create_pool();
    uint8_t* before = take_block(*pool, 100);
    take_block(*pool, 200000);
    EXPECT_EQ(take_block(*pool, 100), before + 101);
    release_pool(pool);
}
