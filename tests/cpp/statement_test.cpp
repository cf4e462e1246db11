// Results of several statements, prepared statements, transactions.
#include "cpp_fixture.h"

#include <utility>
#include <vector>

using cpp_statements = CppTest;

TEST_F(cpp_statements, results_of_several_statements_are_walked) {
    EXPECT_EQ(db_.execute("CREATE TABLE t (id INTEGER PRIMARY KEY, name VARCHAR(9))"), 0);
    auto all = db_.query("INSERT INTO t VALUES (7, 'a'); UPDATE t SET name = 'b'; SELECT id AS number, name "
                         "FROM t; DELETE FROM t");
    EXPECT_EQ(all.kind(), tarnsql::item_kind::insert);
    EXPECT_EQ(all.inserted_id(), "7");
    EXPECT_EQ(db_.last_inserted_id(), "7");
    ASSERT_TRUE(all.next_result());
    EXPECT_EQ(all.kind(), tarnsql::item_kind::update);
    EXPECT_EQ(all.affected(), 1);
    ASSERT_TRUE(all.next_result());
    EXPECT_EQ(all.kind(), tarnsql::item_kind::query);
    EXPECT_EQ(all.row_count(), 1);
    const tarnsql::column_info column = all.column(0);
    EXPECT_EQ(column.label + ' ' + std::to_string(column.type), "number " + std::to_string(TRN_TYPE_INTEGER));
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { all.column(2); }), "no such column");
    for (const tarnsql::row row : all)
        EXPECT_EQ(row["NUMBER"].as<int>(), 7);
    ASSERT_TRUE(all.next_result());
    EXPECT_EQ(all.affected(), 1);
    EXPECT_FALSE(all.next_result());
}

TEST_F(cpp_statements, an_error_behind_rows_is_thrown_where_they_end) {
    db_.execute("CREATE TABLE t (id INTEGER, due DATE)");
    db_.execute("INSERT INTO t VALUES (1, '2024-02-29'), (2, 'soon')");
    const std::string refusal = "column due: 'soon' cannot be converted to DATE";
    int rows = 0;
    EXPECT_EQ(thrown<tarnsql::server_error>([&] {
                  for ([[maybe_unused]] const auto& row :
                       db_.query<int, tarnsql::date>("SELECT id, due FROM t"))
                      ++rows;
              }),
              refusal);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(
        thrown<tarnsql::server_error>([&] { db_.query_row<int, std::string>("SELECT id, due FROM t"); }),
        refusal);
    auto two = db_.query("SELECT 1; SELECT absent");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] { two.next_result(); }), "no such column: absent");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] { db_.query("DELETE FROM t; SELECT absent"); }),
              "no such column: absent");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] { db_.execute("SELECT absent"); }), "no such column: absent");
}

TEST_F(cpp_statements, prepared_statements_take_values_by_position_and_by_name) {
    db_.execute("CREATE TABLE t (id INTEGER, name VARCHAR(9))");
    tarnsql::statement insert = db_.prepare("INSERT INTO t VALUES (:id, :name)");
    EXPECT_FALSE(insert.gives_rows());
    EXPECT_EQ(insert.execute(1, "a"), 1);
    EXPECT_EQ(insert.execute(tarnsql::named("name", "b"), tarnsql::named("id", 2)), 1);
    insert.bind("id", 3).bind("name", "c");
    db_.execute("INSERT INTO t VALUES (?, ?)", 9, "z"); // has no part in what is bound to the statement
    EXPECT_EQ(insert.execute(), 1);
    insert.bind("id", 4).bind("name", nullptr); // by name again: the names before are forgotten
    EXPECT_EQ(insert.execute(), 1);
    EXPECT_EQ(db_.prepare("UPDATE t SET name = name WHERE id < ?").bind(1, 3).execute(), 2);

    tarnsql::statement query = db_.prepare("SELECT id, name FROM t WHERE id >= ? ORDER BY id");
    EXPECT_TRUE(query.gives_rows());
    std::string seen;
    for (auto [id, name] : query.query<int, std::optional<std::string>>(3))
        seen += std::to_string(id) + name.value_or("-") + ' ';
    for (const tarnsql::row row : query.bind(1, 9).query())
        seen += row["name"].as<std::string>();
    EXPECT_EQ(seen, "3c 4- 9z z");
    EXPECT_NE(thrown<tarnsql::usage_error>([&] { query.bind(0, 1); }), "nothing was thrown");
    EXPECT_EQ(db_.query_value<int>("SELECT count(*) FROM t WHERE id = :id", tarnsql::named("id", 9)), 1);
    // What the library puts around the server's text is taken away again.
    db_.execute("DROP TABLE t");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] { query.query(1); }), "no such table: t");
    EXPECT_EQ(thrown<tarnsql::server_error>([&] { db_.prepare("SELECT * FROM t"); }), "no such table: t");
}

TEST_F(cpp_statements, statements_end_with_their_session_and_survive_moves) {
    tarnsql::statement one = db_.prepare("SELECT 1");
    tarnsql::statement moved = std::move(one);
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { one.query(); }),
              "the object was moved from"); // NOLINT: on purpose
    tarnsql::connection elsewhere = std::move(db_);
    EXPECT_EQ((*moved.query<int>().begin()), std::make_tuple(1));
    moved = elsewhere.prepare("SELECT 2");
    EXPECT_EQ((*moved.query<int>().begin()), std::make_tuple(2));
    elsewhere.reconnect();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { moved.query(); }), "the statement ended with its session");
    moved = elsewhere.prepare("SELECT 3");
    elsewhere.close();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { moved.query(); }), "the connection is closed");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { moved.bind(1, 1); }), "the connection is closed");
}

TEST_F(cpp_statements, statements_are_ended_on_the_server) {
    // A session has at most 10,000 of them.
    for (int i = 0; i < 10001; ++i)
        db_.prepare("SELECT 1");
    SUCCEED();
}

TEST_F(cpp_statements, transactions_roll_back_unless_they_are_committed) {
    db_.execute("CREATE TABLE t (id INTEGER)");
    const auto count = [&](tarnsql::connection& db) { return db.query_value<int>("SELECT count(*) FROM t"); };
    {
        const tarnsql::transaction forgotten(db_);
        db_.execute("INSERT INTO t VALUES (1)");
        EXPECT_EQ(count(db_), 1);
    }
    EXPECT_EQ(count(db_), 0);
    EXPECT_THROW(
        {
            tarnsql::transaction left_by_exception(db_);
            db_.execute("INSERT INTO t VALUES (1)");
            db_.execute("no statement");
        },
        tarnsql::server_error);
    {
        tarnsql::transaction kept(db_);
        db_.execute("INSERT INTO t VALUES (1)");
        tarnsql::transaction moved = std::move(kept);
        moved.commit();
        EXPECT_EQ(thrown<tarnsql::usage_error>([&] { moved.commit(); }), "the transaction has ended");
        EXPECT_EQ(thrown<tarnsql::usage_error>([&] { kept.rollback(); }),
                  "the transaction has ended"); // NOLINT: on purpose
    }
    EXPECT_EQ(count(db_), 1);
    tarnsql::connection by_itself(server_.connection_string("auto_commit=off"));
    {
        const tarnsql::transaction forgotten(by_itself);
        by_itself.execute("INSERT INTO t VALUES (2)");
    }
    EXPECT_EQ(count(by_itself), 1);
    tarnsql::transaction late(db_);
    db_.reconnect();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { late.commit(); }), "the transaction ended with its session");
}
