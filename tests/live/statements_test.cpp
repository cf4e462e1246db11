// Names of result columns, texts of several statements, transactions.
#include "live_server.h"

class live_statements : public testing::Test {
  protected:
    LiveServer server_;
    Connection connection_{server_};
};

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

TEST(live_transactions, work_without_auto_commit_is_seen_by_others_once_committed) {
    const Folder folder;
    LiveServer server({"--database", folder / "data"});
    Connection reader(server, "lock_timeout=1");
    reader.run("create table t(a int)");
    Connection writer(server, "auto_commit=off");
    // clang-format off
    const struct { const char* sql; const char* seen_by_reader; const char* seen_by_writer; } cases[] = {
        {"commit; rollback", "0", "0"}, {"insert into t values(1)", "0", "1"},
        {"rollback", "0", "0"},         {"insert into t values(2); insert into t values(3)", "0", "2"},
        {"commit", "2", "2"},           {"delete from t", "2", "0"},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_GE(writer.run(c.sql), 0) << error_text(writer.handle);
        EXPECT_EQ(reader.transcript("select count(*) as n from t"), "n: "s + c.seen_by_reader + "\n")
            << c.sql;
        EXPECT_EQ(writer.transcript("select count(*) as n from t"), "n: "s + c.seen_by_writer + "\n")
            << c.sql;
    }
    EXPECT_EQ(reader.run("insert into t values(4)"), TRN_ERR_SERVER);
    EXPECT_EQ(error_text(reader.handle), "database is locked");

    TRN_CloseConn(&writer.handle);
    Connection patient(server, "lock_timeout=60");
    EXPECT_EQ(patient.run("insert into t values(5)"), 1);
    EXPECT_EQ(patient.transcript("select group_concat(a) as a from t"), "a: 2,3,5\n");
}
