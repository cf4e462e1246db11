// Names of result columns, and texts of several statements.
#include "live_server.h"

using live_statements = LiveTest;

TEST_F(live_statements, columns_tell_their_table_name_label_and_flags) {
    connection_.run("create table shop(id integer primary key, name varchar(20) not null, \"per%cent\" int);"
                    "insert into shop values(1, 'a', 2)");
    const std::string longest(2000, 'x');
    Reader reader(connection_,
                  "select id, name as Title, id + 1, s.id * 2 as \"100% sure\", \"per%cent\", id as "
                  "\"dotted.label\", 1 as \"größe\", 1 as " +
                      longest + " from shop s");
    // clang-format off
    const struct { const char *table, *name; std::string label; std::int32_t flags; } expected[] = {
        {"shop", "id", "id", 2}, {"shop", "name", "Title", 1}, {"", "", "id + 1", 0},   {"", "", "100% sure", 0},
        {"", "", "per%cent", 0}, {"shop", "id", "dotted.label", 2},
        {"", "", "größe", 0},    {"", "", longest.substr(0, 1023), 0},
    };
    // clang-format on
    ASSERT_EQ(reader.columns, static_cast<std::int32_t>(std::size(expected)));
    std::int32_t column = 0;
    for (const auto& each : expected) {
        SCOPED_TRACE(each.label);
        char table[1025] = "", name[1025] = "", label[1025] = "";
        std::int32_t flags = -7;
        EXPECT_EQ(
            TRN_getResultColInfo(&reader.result, ++column, table, name, label, nullptr, nullptr, &flags), 0);
        EXPECT_STREQ(table, each.table);
        EXPECT_STREQ(name, each.name);
        EXPECT_EQ(label, each.label);
        EXPECT_EQ(flags, each.flags);
    }
}

TEST_F(live_statements, one_text_of_many_statements_gives_one_chain) {
    const char* sql = "create table t(id integer primary key, name text); insert into t(name) values('a'); ;"
                      "replace into t values(5, 'b'), (9, 'c'); insert into t select * from t where 0;"
                      "update t set name = 'z' where id < 6; select id, name as n from t order by id;"
                      "delete from t where id = 5; select id from t where id > 90; -- none\n"
                      "delete from t where 0; insert into t(name) values('r') returning id";
    EXPECT_EQ(connection_.transcript(sql),
              "insert 1\ninsert 9\nupdate 2\nid,n: 1,z; 5,z; 9,c\ndelete 1\nid\ndelete 0\nid: 10\n");
    EXPECT_EQ(last_insert_id(connection_), "9");
}

TEST_F(live_statements, an_error_keeps_the_items_before_it_and_nothing_after_it_runs) {
    // clang-format off
    const struct { const char *sql, *items; } cases[] = {
        {"create table t(a int); insert into t values(7); update t set a = 8; selec 1; delete from t", "insert 1\nupdate 1\n"},
        {"select a from t; selec 1; select 8", "a: 8\n"},
    };
    // clang-format on
    for (const auto& each : cases) {
        Reader reader(connection_, each.sql);
        EXPECT_EQ(reader.status, TRN_ERR_SERVER);
        EXPECT_EQ(error_text(connection_.handle), "near \"selec\": syntax error");
        EXPECT_EQ(error_text(reader.result), "");
        EXPECT_EQ(reader.transcript(), each.items);
    }
    EXPECT_EQ(connection_.transcript("select * from t"), "a: 8\n");
}

TEST_F(live_statements, the_no_query_call_counts_and_passes_over_rows) {
    const std::string numbers =
        "with recursive n(i) as (values(1) union all select i + 1 from n where i < 50000) select i from n;";
    // clang-format off
    const struct { std::string sql; std::int32_t status; const char* last_id; } cases[] = {
        {"create table t(a integer primary key)", 0, ""},
        {"insert into t values(1); insert into t values(2), (-9223372036854775808)", 2, "-9223372036854775808"},
        {"update t set a = a + 10 where a > 0", 2, "-9223372036854775808"},
        {"insert into t values(41), (42)", 1, "42"},
        {"delete from t where a > 100; insert into t select 1 where 0", 0, "42"},
        {"insert into t values(42)", TRN_ERR_SERVER, "42"},
        {numbers + "insert into t values(9223372036854775807)", 0, "42"},
        {"select abs(-9223372036854775808)", TRN_ERR_SERVER, "42"}, {"drop table missing", TRN_ERR_SERVER, "42"},
        {"delete from t", 6, "42"},
    };
    // clang-format on
    for (const auto& each : cases) {
        EXPECT_EQ(connection_.run(each.sql), each.status) << each.sql;
        EXPECT_EQ(last_insert_id(connection_), each.last_id) << each.sql;
    }
    EXPECT_EQ(error_text(connection_.handle), "no such table: missing");
}
