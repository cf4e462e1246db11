// Rows as they are kept: found again in order and to the byte, whatever their sizes and however they came.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "reply/row_store.h"

using namespace tarn;

namespace {

class row_store : public testing::Test {
  protected:
    ~row_store() override { release_rows(rows_); }

    static const uint8_t* bytes(const std::string& text) {
        return reinterpret_cast<const uint8_t*>(text.data());
    }

    void add_short_rows(const std::vector<std::string>& rows) {
        std::string run;
        for (const std::string& row : rows) {
            run += static_cast<char>(row.size() + 1);
            run += row;
        }
        ASSERT_TRUE(store_short_rows(rows_, bytes(run), run.size()));
        expected_.insert(expected_.end(), rows.begin(), rows.end());
    }
    void add_row(const std::string& row) {
        ASSERT_TRUE(::tarn::store_row(rows_, bytes(row), row.size()));
        expected_.push_back(row);
    }
    void add_large_row(const std::string& row, size_t begun) {
        LargeRow large;
        ASSERT_TRUE(large.begin(bytes(row), begun));
        while (large.size() < row.size()) {
            size_t room;
            uint8_t* to = large.extend(row.size() - large.size(), room);
            ASSERT_TRUE(to);
            ASSERT_LE(room, row.size() - large.size());
            std::memcpy(to, row.data() + large.size(), room);
            large.filled(room);
        }
        large.store_in(rows_);
        expected_.push_back(row);
    }
    void expect_all() {
        RowCursor cursor = first_row(rows_);
        for (const std::string& row : expected_) {
            const uint8_t* found = next_row(cursor);
            ASSERT_TRUE(found);
            ASSERT_TRUE(std::memcmp(found, row.data(), row.size()) == 0);
        }
        EXPECT_FALSE(next_row(cursor));
        EXPECT_FALSE(next_row(cursor));
    }
    std::pair<size_t, size_t> blocks_and_bytes() const {
        size_t count = 0, size = 0;
        for (const RowBlock* block = rows_.first; block; block = block->next, ++count)
            size += block->size;
        return {count, size};
    }

    RowStore rows_{};
    std::vector<std::string> expected_;
};

std::string row_of(size_t size) {
    std::string row(size, static_cast<char>('a' + size % 26));
    if (size > 1) row.back() = '.';
    return row;
}

TEST_F(row_store, gives_rows_of_every_size_back_in_order) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::string> run;
        for (size_t count = 1 + random() % 40; count; --count)
            run.push_back(row_of(random() % longest_short_row));
        add_short_rows(run);
        if (round % 3 == 0) add_row(row_of(random() % 700));
        if (round % 500 == 250) add_large_row(row_of(65536 + random() % 3000000), 65536);
        if (round % 700 == 1) add_row(row_of(65000));
    }
    expect_all();
    trim_rows(rows_);
    expect_all();
}

TEST_F(row_store, knows_the_ends_of_its_forms) {
    // The longest row with a head of one byte, the shortest with a long one, nothing, and blocks that are
    // filled to the last byte.
    for (const size_t size : {longest_short_row - 1, longest_short_row, size_t{0}, size_t{1}})
        add_row(row_of(size));
    add_short_rows({row_of(longest_short_row - 1), "", row_of(longest_short_row - 1)});
    add_large_row(row_of(1), 1);
    add_row("");
    add_large_row(row_of(100000), 99999);
    add_large_row(row_of(100001), 1);
    expect_all();
}

TEST_F(row_store, takes_one_block_for_a_small_result_and_few_for_a_large_one) {
    add_short_rows({"first", "second"});
    EXPECT_EQ(rows_.first->size, 13u);
    EXPECT_EQ(rows_.room, 0u);
    const std::vector<std::string> run(600, row_of(99));
    for (int i = 0; i < 200; ++i)
        add_short_rows(run);
    const auto [blocks, bytes] = blocks_and_bytes();
    EXPECT_EQ(bytes, 13u + 200 * 600 * 100);
    EXPECT_LT(blocks, 25u);
    expect_all();
}

TEST_F(row_store, releases_what_lies_in_front_of_the_rows_being_read) {
    for (int i = 0; i < 40000; ++i)
        add_row(std::string(100, 'x'));
    const size_t whole = blocks_and_bytes().second;
    RowCursor cursor = first_row(rows_);
    for (int i = 0; i < 30000; ++i) {
        if (cursor.next == cursor.end) release_rows_before(rows_, cursor.block);
        ASSERT_TRUE(next_row(cursor));
    }
    EXPECT_LT(blocks_and_bytes().second, whole / 2);
    release_rows_before(rows_, nullptr);
    EXPECT_EQ(blocks_and_bytes().second, 0u);
}

TEST_F(row_store, takes_memory_for_a_large_row_as_its_bytes_arrive) {
    LargeRow row;
    ASSERT_TRUE(row.begin(bytes(row_of(1000)), 1000));
    size_t room;
    ASSERT_TRUE(row.extend(size_t{1} << 40, room)); // far more than there is memory
    EXPECT_LE(room, 2000u);
}

} // namespace
