// Logins and what they ask for, and single values.
#include "live_server.h"

TEST(live_login, both_forms_of_the_login_answer_open_a_session) {
    for (const char* protocol : {"201", "301"}) {
        LiveServer server({"--protocol", protocol});
        Connection connection(server,
                              "char_set=utf8;iso_level=read committed;current_schema=s;lock_timeout=7");
        ASSERT_EQ(connection.opened, TRN_OPENED) << protocol;
        EXPECT_EQ(connection.transcript("select 1 as a; select 'b' as b"), "a: 1\nb: b\n") << protocol;
    }
}

TEST(live_login, only_the_right_password_gets_in) {
    LiveServer server({"--user", "ada", "--password", "it's"});
    // clang-format off
    const struct { const char* settings; std::int32_t status; } cases[] = {
        {"", TRN_ERR_LOGIN}, {"pwd=It's", TRN_ERR_LOGIN}, {"user=eve;pwd=it's", TRN_ERR_LOGIN},
        {"pwd=it's", TRN_OPENED},
    };
    // clang-format on
    for (const auto& c : cases) {
        Connection connection(server, c.settings);
        EXPECT_EQ(connection.opened, c.status) << c.settings;
        EXPECT_EQ(error_text(connection.handle).substr(0, 7), c.status == TRN_OPENED ? "" : "[EC012]")
            << c.settings;
        EXPECT_EQ(connection.run("select 1"), c.status == TRN_OPENED ? TRN_OK : TRN_ERR_NETWORK)
            << c.settings;
        EXPECT_EQ(TRN_CloseConn(&connection.handle), TRN_OK) << c.settings;
    }
}

TEST(live_transactions, work_without_auto_commit_is_seen_by_others_once_committed) {
    const TemporaryFolder folder;
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

TEST(live_single_value, each_type_has_its_text_or_is_handed_over) {
    LiveServer server;
    Connection connection(server);
    connection.run("create table t(n numeric(9,2), f float, z time with time zone, ds interval day to "
                   "second, c clob, k integer);"
                   "insert into t values(1.005, 0.25, '12:00:00+02:00', '2 03:04:05.5', 'c', -7)");
    const std::string many = "with recursive n(i) as (values(1) union all select i + 1 from n where i < ";
    // clang-format off
    const struct { std::string sql; std::int32_t status; std::uint32_t word; std::string value; } cases[] = {
        {"select 7", 0, TRN_WIRE_BIGINT, "7"}, {"select 0.1", 0, TRN_WIRE_DOUBLE, "0.1"},
        {"select 'short', 2", 0, TRN_WIRE_CHAR, "short"},
        {"select '" + std::string(64, 'y') + "'", 0, TRN_WIRE_CHAR + TRN_HANDED_OVER, std::string(64, 'y')},
        {"select c from t", 0, TRN_WIRE_CLOB + TRN_HANDED_OVER, "c"},
        {"select zeroblob(3000000)", 0, TRN_WIRE_BINARY + TRN_HANDED_OVER, std::string(3000000, '\0')},
        {"select null", 0, TRN_WIRE_CHAR, "\0\0\0\0"s}, {"select n from t", 0, TRN_WIRE_NUMERIC, "1.01"},
        {"select f from t", 0, TRN_WIRE_FLOAT, "0.250000"}, {"select z from t", 0, TRN_WIRE_TIME_TZ, ""},
        {"select ds from t", 0, TRN_WIRE_INTERVAL_DAY_TO_SECOND, "2 3:04:05"},
        {"select k from t where 0", 0, 0, "\0\0\0\0"s}, {many + "200) select i from n", 0, TRN_WIRE_BIGINT, "1"},
        {many + "1001) select i from n", 0, TRN_WIRE_BIGINT, "1"}, {"insert into t(k) values(1)", 1, 7777, ""},
        {"update t set k = 2", 2, 7777, ""}, {"delete from t", 3, 7777, ""},
        {"select * from missing", TRN_ERR_SERVER, 7777, ""}, {"select 'in step'", 0, TRN_WIRE_CHAR, "in step"},
    };
    // clang-format on
    for (const auto& each : cases) {
        SingleValue got(connection, each.sql);
        EXPECT_EQ(got.status, each.status) << each.sql;
        EXPECT_EQ(got.word, each.word) << each.sql;
        EXPECT_TRUE(got.take() == each.value) << each.sql;
    }
    EXPECT_EQ(error_text(connection.handle), "no such table: missing");
}
