// Cursors that stream a result.
#include "cpp_fixture.h"

#include <memory>
#include <utility>

using cpp_cursors = CppTest;

static const char* const numbers =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
    "SELECT i, 'number ' || i AS name FROM n";

TEST_F(cpp_cursors, all_rows_come_whatever_is_fetched_at_a_time) {
    for (const int rows_at_a_time : {0, 1, 7, 100}) {
        const int rows = rows_at_a_time ? 250 : 45000;
        auto all = db_.stream<int, std::string_view>(numbers, rows);
        if (rows_at_a_time) all.rows_at_a_time(rows_at_a_time);
        int count = 0;
        for (auto [number, name] : all) {
            ASSERT_EQ(number, ++count);
            ASSERT_EQ(name, "number " + std::to_string(number));
            // The connection is free meanwhile.
            if (number == 100) {
                EXPECT_EQ(db_.query_value<int>("SELECT 7"), 7);
            }
        }
        EXPECT_EQ(count, rows);
        EXPECT_TRUE(all.begin() == all.end());
    }
    int64_t sum = 0;
    for (const tarnsql::row row : db_.stream(numbers, 20001))
        sum += row["I"].as<int64_t>();
    EXPECT_EQ(sum, int64_t{20001} * 20002 / 2);
    auto empty = db_.stream("SELECT 1 WHERE 1 = 0");
    EXPECT_TRUE(empty.begin() == empty.end());
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { empty.rows_at_a_time(0); }),
              "a fetch must ask for at least one row");
}

TEST_F(cpp_cursors, every_way_out_closes_the_cursor) {
    // A session has at most 256 of them.
    for (int i = 0; i < 300; ++i) {
        for (auto [number, name] : db_.stream<int, std::string>(numbers, 10))
            if (number == 3) break;
        EXPECT_THROW(db_.stream<int>(numbers, 10), tarnsql::usage_error);
        EXPECT_THROW(db_.stream<int>("no query"), tarnsql::server_error);
        auto closed = db_.stream(numbers, 10);
        closed.close();
        EXPECT_TRUE(closed.begin() == closed.end());
    }
}

TEST_F(cpp_cursors, a_failing_row_throws_behind_those_before_it) {
    db_.execute("CREATE TABLE t (id INTEGER, due DATE)");
    db_.execute("INSERT INTO t VALUES (1, '2024-02-29'), (2, '2024-03-01'), (3, 'soon')");
    int rows = 0;
    EXPECT_EQ(thrown<tarnsql::server_error>([&] {
                  for ([[maybe_unused]] const auto& row :
                       db_.stream<int, tarnsql::date>("SELECT id, due FROM t"))
                      ++rows;
              }),
              "column due: 'soon' cannot be converted to DATE");
    EXPECT_EQ(rows, 2);
}

TEST_F(cpp_cursors, a_cursor_ends_with_its_session) {
    const auto read = [](auto& cursor) {
        for ([[maybe_unused]] const auto& row : cursor) {
        }
    };
    auto first = db_.stream(numbers, 30000);
    auto moved = std::move(first);
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { read(first); }),
              "the cursor was moved from"); // NOLINT: on purpose
    db_.reconnect();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { read(moved); }), "the cursor ended with its session");
    auto second = db_.stream(numbers, 30000);
    db_.close();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { read(second); }), "the connection is closed");
}
