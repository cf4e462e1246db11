// Names of result columns, and texts of several statements.
#include "live_server.h"

using namespace std::string_literals;

class live_statements : public testing::Test {
  protected:
    LiveServer server_;
    Connection connection_{server_};
};

TEST_F(live_statements, columns_tell_their_table_name_label_and_flags) {
    connection_.run("create table shop(id integer primary key, name varchar(20) not null, \"per%cent\" int);"
                    "insert into shop values(1, 'a', 2)");
    const std::string longest(2000, 'x');
    Result result(
        connection_,
        "select id, name as Title, id + 1, s.id * 2 as \"100% sure\", \"per%cent\", id as \"dotted.label\", "
        "1 as \"größe\", name as title, 1 as " +
            longest + " from shop s");
    const struct {
        const char* table;
        const char* name;
        std::string label;
        std::int32_t flags;
    } expected[] = {
        {"shop", "id", "id", 2},  {"shop", "name", "Title", 1}, {"", "", "id + 1", 0},
        {"", "", "100% sure", 0}, {"", "", "per%cent", 0},      {"shop", "id", "dotted.label", 2},
        {"", "", "größe", 0},     {"shop", "name", "title", 1}, {"", "", longest.substr(0, 1023), 0},
    };
    ASSERT_EQ(result.columns, static_cast<std::int32_t>(std::size(expected)));
    std::int32_t column = 0;
    for (const auto& e : expected) {
        SCOPED_TRACE(e.label);
        char table[1025] = "";
        char name[1025] = "";
        char label[1025] = "";
        std::int32_t flags = -7;
        EXPECT_EQ(
            TRN_getResultColInfo(&result.handle, ++column, table, name, label, nullptr, nullptr, &flags),
            TRN_OK);
        EXPECT_STREQ(table, e.table);
        EXPECT_STREQ(name, e.name);
        EXPECT_EQ(label, e.label);
        EXPECT_EQ(flags, e.flags);
        EXPECT_EQ(result.label(column), e.label);
    }
    const struct {
        const char* asked;
        std::int32_t column;
    } positions[] = {{"ID", 1},     {"tItLe", 2},     {"name", 0}, {"GRößE", 7},
                     {"GRÖSSE", 0}, {"100% SURE", 4}, {"", 0}};
    for (const auto& p : positions)
        EXPECT_EQ(TRN_getResultcolseq(&result.handle, p.asked), p.column) << p.asked;
}

TEST_F(live_statements, one_text_of_many_statements_gives_one_chain) {
    EXPECT_EQ(
        transcript(connection_,
                   "create table t(id integer primary key, name text); insert into t(name) values('a'); ;"
                   "replace into t values(5, 'b'), (9, 'c'); insert into t select * from t where 0;"
                   "update t set name = 'z' where id < 6; select id, name as n from t order by id;"
                   "delete from t where id = 5; select id from t where id > 90; -- none\n"
                   "delete from t where 0; insert into t(name) values('r') returning id"),
        "insert 1\ninsert 9\nupdate 2\nid,n: 1,z; 5,z; 9,c\ndelete 1\nid\ndelete 0\nid: 10\n");
    EXPECT_EQ(last_insert_id(connection_), "9");
}

TEST_F(live_statements, the_counts_of_the_call_are_those_of_the_first_item) {
    connection_.run("create table t(a int)");
    Result first(connection_, "insert into t values(1), (2), (3); update t set a = a + 1; select a from t");
    EXPECT_EQ(first.status, 3);
    EXPECT_EQ(first.columns, 0);
    EXPECT_EQ(first.rows, 0);
    Result second(connection_, "delete from t where a < 4; select a from t");
    EXPECT_EQ(second.affected, 2);
    EXPECT_EQ(second.status, 1);
    Result none(connection_, "create table u(a int)");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.handle, nullptr);
}

TEST_F(live_statements, the_items_before_an_error_are_handed_over_and_nothing_after_it_runs) {
    const std::string begun = "create table t(a int); insert into t values(7); ";
    Result result(connection_, begun + "update t set a = a + 1; selec 1; insert into t values(8)");
    EXPECT_EQ(result.status, TRN_ERR_SERVER);
    EXPECT_EQ(error_text(connection_.handle), "near \"selec\": syntax error");
    ASSERT_NE(result.handle, nullptr);
    ASSERT_EQ(TRN_NextResult(&result.handle), TRN_OK);
    std::int32_t affected = 0;
    EXPECT_EQ(TRN_getResultRet(&result.handle, nullptr, nullptr, nullptr, &affected, nullptr), TRN_OK);
    EXPECT_EQ(affected, 1);
    EXPECT_EQ(TRN_NextResult(&result.handle), TRN_END);
    EXPECT_EQ(transcript(connection_, "select * from t"), "a: 8\n");
}

TEST_F(live_statements, an_error_behind_rows_fails_the_call_and_keeps_the_rows) {
    Result result(connection_, "select 7 as a; selec 1; select 8");
    ASSERT_NE(result.handle, nullptr);
    EXPECT_EQ(result.status, TRN_ERR_SERVER);
    EXPECT_EQ(error_text(result.handle), "");
    EXPECT_EQ(error_text(connection_.handle), "near \"selec\": syntax error");
    ASSERT_TRUE(result.next());
    EXPECT_EQ(result.text(1), "7");
    EXPECT_EQ(TRN_NextResult(&result.handle), TRN_END);
    EXPECT_EQ(transcript(connection_, "select 'in step' as a"), "a: in step\n");
}

TEST_F(live_statements, the_no_query_call_counts_and_passes_over_rows) {
    const struct {
        const char* sql;
        std::int32_t status;
    } cases[] = {
        {"create table t(a integer primary key)", 0},
        {"insert into t values(1); insert into t values(2), (-9223372036854775808)", 2},
        {"update t set a = a + 10 where a > 0", 2},
        {"delete from t where a > 100", 0},
        {"with recursive n(i) as (values(1) union all select i + 1 from n where i < 50000) select i, 'text ' "
         "|| i from n; "
         "insert into t values(9223372036854775807)",
         0},
        {"select abs(-9223372036854775808)", TRN_ERR_SERVER},
        {"drop table missing", TRN_ERR_SERVER},
        {"insert into t values(1) returning a", 0},
        {"delete from t", 5},
    };
    for (const auto& c : cases)
        EXPECT_EQ(connection_.run(c.sql), c.status) << c.sql;
    EXPECT_EQ(error_text(connection_.handle), "no such table: missing");
}

TEST_F(live_statements, the_last_insert_id_is_the_one_of_the_last_insert_read) {
    EXPECT_EQ(last_insert_id(connection_), "");
    const struct {
        const char* sql;
        const char* id;
    } cases[] = {
        {"create table t(a integer primary key); insert into t values(-9223372036854775808)",
         "-9223372036854775808"},
        {"insert into t values(41), (42)", "42"},
        {"update t set a = 50 where a = 42; insert into t select 1 where 0", "42"},
        {"insert into t values(50)", "42"},
        {"insert into t values(9223372036854775807)", "9223372036854775807"},
    };
    for (const auto& c : cases) {
        connection_.run(c.sql);
        EXPECT_EQ(last_insert_id(connection_), c.id) << c.sql;
    }
}
