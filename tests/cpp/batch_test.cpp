// Batches from ranges of rows and from columns.
#include "cpp_fixture.h"

#include <array>
#include <list>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

using cpp_batches = CppTest;

namespace {

struct Town {
    int id;
    std::optional<std::string> name;
    tarnsql::date founded;
};

} // namespace

TEST_F(cpp_batches, rows_of_every_kind_are_stored) {
    db_.execute("CREATE TABLE t (id INTEGER, name VARCHAR(9), founded DATE)");
    const auto stored = [&] {
        std::string all;
        for (auto [id, name, founded] :
             db_.query<std::optional<int>, std::optional<std::string>, std::optional<std::string>>(
                 "SELECT * FROM t ORDER BY rowid"))
            all += (id ? std::to_string(*id) : "-") + ' ' + name.value_or("-") + ' ' + founded.value_or("-") +
                   '\n';
        db_.execute("DELETE FROM t");
        return all;
    };
    const char* const into = "INSERT INTO t (id, name) VALUES (?, ?)";
    EXPECT_EQ(db_.execute_batch(into, std::vector<std::tuple<int, const char*>>{{1, "a"}, {2, nullptr}}), 2);
    EXPECT_EQ(db_.execute_batch(into, std::list<std::pair<int64_t, std::string>>{{3, "b"}}), 1);
    EXPECT_EQ(stored(), "1 a -\n2 - -\n3 b -\n");
    EXPECT_EQ(db_.execute_batch("INSERT INTO t (name) VALUES (?)", std::vector<std::string>{"x", ""}), 2);
    EXPECT_EQ(db_.execute_batch("INSERT INTO t (id) VALUES (?)",
                                std::array<std::optional<int>, 2>{4, std::nullopt}),
              2);
    EXPECT_EQ(db_.execute_batch("INSERT INTO t (id) VALUES (?)", std::vector<bool>{true}), 1);
    EXPECT_EQ(stored(), "- x -\n- - -\n4 - -\n- - -\n1 - -\n");
    const Town towns[] = {{5, "Ur", tarnsql::date(tarnsql::days(1))}, {6, std::nullopt, tarnsql::date()}};
    EXPECT_EQ(db_.execute_batch("INSERT INTO t VALUES (?, ?, ?)", towns,
                                [](const Town& town) { return std::tie(town.id, town.name, town.founded); }),
              2);
    EXPECT_EQ(stored(), "5 Ur 1970-01-02\n6 - 1970-01-01\n");
    EXPECT_EQ(db_.execute_batch(into, std::vector<std::pair<int, int>>()), 0);
}

TEST_F(cpp_batches, columns_of_every_type_are_stored) {
    using namespace std::chrono_literals;
    db_.execute("CREATE TABLE t (a TINYINT, b SMALLINT, c BIGINT, d FLOAT, e DOUBLE, f VARCHAR(9), g "
                "VARBINARY(9), h DATETIME,"
                " i INTERVAL YEAR TO MONTH, j BOOLEAN)");
    const std::vector<std::vector<unsigned char>> bytes{{0, 1}, {}, {2, 3, 4}};
    const tarnsql::moment moments[] = {tarnsql::moment(1ms), tarnsql::moment(-1ms),
                                       tarnsql::moment(1709210096789ms)};
    EXPECT_EQ(db_.execute_columns(
                  "INSERT INTO t VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", std::vector<int8_t>{-128, 0, 127},
                  std::vector<uint8_t>{0, 1, 255}, std::vector<int64_t>{INT64_MIN, 0, INT64_MAX},
                  std::array<float, 3>{0.5F, 0, -1}, std::vector<std::optional<double>>{4.5, std::nullopt, 2},
                  std::vector<std::string>{"a", "", "it's"}, bytes, moments,
                  std::vector<tarnsql::months>(3, tarnsql::months(-13)),
                  std::vector<bool>{true, false, true}),
              3);
    std::string all;
    for (const tarnsql::row row : db_.query("SELECT * FROM t")) {
        for (size_t i = 0; i < row.size(); ++i)
            all += i == 6   ? std::to_string(row[i].value_or(std::vector<std::byte>()).size()) + ' '
                   : i == 7 ? std::to_string(row[i].as<tarnsql::moment>().time_since_epoch().count()) + ' '
                            : row[i].value_or<std::string>("-") + ' ';
        all += '\n';
    }
    EXPECT_EQ(all, "-128 0 -9223372036854775808 0.500000 4.500000000000000 a 2 1 -1-01 T \n"
                   "0 1 0 0.000000 - - 0 -1 -1-01 F \n"
                   "127 255 9223372036854775807 -1.000000 2.000000000000000 it's 3 1709210096789 -1-01 T \n");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] {
                  db_.execute_columns("INSERT INTO t (a, b) VALUES (?, ?)", std::vector<int>(2),
                                      std::vector<int>(3));
              }),
              "columns of different lengths");
}

TEST_F(cpp_batches, more_rows_than_a_request_holds_are_all_stored) {
    constexpr int rows = 150000; // three requests
    db_.execute("CREATE TABLE t (id INTEGER, name VARCHAR(9))");
    std::vector<int> ids(rows);
    std::iota(ids.begin(), ids.end(), 1);
    const std::vector<std::string> names(rows, "name");
    const char* const sums = "SELECT count(*), sum(id), count(DISTINCT id), sum(length(name)) FROM t";
    const auto expected = std::make_tuple(rows, int64_t{rows} * (rows + 1) / 2, rows, int64_t{rows} * 4);
    EXPECT_EQ(db_.execute_columns("INSERT INTO t VALUES (?, ?)", ids, names), rows);
    EXPECT_EQ((db_.query_row<int, int64_t, int, int64_t>(sums)), expected);
    db_.execute("DELETE FROM t");
    EXPECT_EQ(db_.execute_batch("INSERT INTO t VALUES (?, 'name')", ids), rows);
    EXPECT_EQ((db_.query_row<int, int64_t, int, int64_t>(sums)), expected);
}

TEST_F(cpp_batches, a_batch_that_fails_leaves_nothing_bound) {
    db_.execute("CREATE TABLE t (id INTEGER PRIMARY KEY)");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] {
                  db_.execute_batch("INSERT INTO t VALUES (?)", std::vector<int>{1, 2, 1});
              }),
              "UNIQUE constraint failed: t.id");
    EXPECT_EQ(db_.query_value<int>("SELECT count(*) FROM t"), 0);
    const std::vector<uint64_t> beyond{1, UINT64_MAX};
    EXPECT_EQ(thrown<tarnsql::range_error>([&] { db_.execute_batch("INSERT INTO t VALUES (?)", beyond); }),
              "an integer above those of a BIGINT");
    EXPECT_EQ(db_.execute("INSERT INTO t VALUES (?)", 5), 1);
    EXPECT_EQ(db_.execute("INSERT INTO t VALUES (6)"), 1);
}
