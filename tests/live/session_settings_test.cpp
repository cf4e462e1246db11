// Logins and what they ask for, and single values.
#include "live_server.h"

#include <cstring>

using namespace std::string_literals;

TEST(live_login, both_forms_of_the_login_answer_open_a_session) {
    for (const char* protocol : {"201", "301"}) {
        LiveServer server({"--protocol", protocol});
        Connection connection(
            server, "char_set=utf8;iso_level=read committed;current_schema=s;lock_timeout=7;return_rowid=on");
        ASSERT_EQ(connection.opened, TRN_OPENED) << protocol;
        EXPECT_EQ(transcript(connection, "select 1 as a; select 'b' as b"), "a: 1\nb: b\n") << protocol;
    }
}

TEST(live_login, only_the_right_password_gets_in) {
    LiveServer server({"--user", "ada", "--password", "it's"});
    const struct {
        const char* settings;
        std::int32_t status;
    } cases[] = {
        {"", TRN_ERR_LOGIN},
        {"pwd=It's", TRN_ERR_LOGIN},
        {"user=eve;pwd=it's", TRN_ERR_LOGIN},
        {"pwd=it's", TRN_OPENED},
    };
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
    const struct {
        const char* sql;
        const char* seen_by_reader;
        const char* seen_by_writer;
    } cases[] = {
        {"commit; rollback", "0", "0"}, {"insert into t values(1)", "0", "1"},
        {"rollback", "0", "0"},         {"insert into t values(2); insert into t values(3)", "0", "2"},
        {"commit", "2", "2"},           {"delete from t", "2", "0"},
    };
    for (const auto& c : cases) {
        EXPECT_GE(writer.run(c.sql), 0) << error_text(writer.handle);
        EXPECT_EQ(transcript(reader, "select count(*) as n from t"), "n: "s + c.seen_by_reader + "\n")
            << c.sql;
        EXPECT_EQ(transcript(writer, "select count(*) as n from t"), "n: "s + c.seen_by_writer + "\n")
            << c.sql;
    }
    EXPECT_EQ(reader.run("insert into t values(4)"), TRN_ERR_SERVER);
    EXPECT_EQ(error_text(reader.handle), "database is locked");

    TRN_CloseConn(&writer.handle);
    Connection patient(server, "lock_timeout=60");
    EXPECT_EQ(patient.run("insert into t values(5)"), 1);
    EXPECT_EQ(transcript(patient, "select group_concat(a) as a from t"), "a: 2,3,5\n");
}

namespace {

struct SingleValue {
    std::string sql;
    std::int32_t status;
    std::uint32_t type_word;
    std::string value; // up to the first zero byte, unless handed over
};

SingleValue single_value(Connection& connection, const std::string& sql) {
    char area[65] = "";
    std::uint32_t type_word = 77;
    const std::int32_t status = TRN_Execute_query_with_one(&connection.handle, sql.c_str(), area, &type_word);
    if (type_word < TRN_HANDED_OVER) return {sql, status, type_word, area};
    std::int32_t length = 0;
    void* copy = nullptr;
    std::memcpy(&length, area, sizeof length);
    std::memcpy(&copy, area + sizeof length, sizeof copy);
    const std::string value(static_cast<const char*>(copy), static_cast<std::size_t>(length));
    EXPECT_EQ(static_cast<const char*>(copy)[length], '\0') << sql;
    EXPECT_EQ(TRN_FreePtr(&copy), TRN_OK);
    EXPECT_EQ(copy, nullptr);
    return {sql, status, type_word, value};
}

} // namespace

TEST(live_single_value, each_type_has_its_text_or_is_handed_over) {
    LiveServer server;
    Connection connection(server);
    connection.run("create table t(b boolean, n numeric(9,2), f float, d date, z time with time zone, ym "
                   "interval year to month,"
                   "ds interval day to second, c clob, k integer, m datetime);"
                   "insert into t values(1, 1.005, 0.25, '0000-01-01', '12:00:00+02:00', '-1-02', '2 "
                   "03:04:05.5', 'c', -7,"
                   "'1969-12-31 23:59:59.999')");
    const std::string many = "with recursive n(i) as (values(1) union all select i + 1 from n where i < ";
    const SingleValue cases[] = {
        {"select 7", 0, TRN_WIRE_BIGINT, "7"},
        {"select 0.1", 0, TRN_WIRE_DOUBLE, "0.1"},
        {"select 'short', 2", 0, TRN_WIRE_CHAR, "short"},
        {"select '" + std::string(63, 'x') + "'", 0, TRN_WIRE_CHAR, std::string(63, 'x')},
        {"select '" + std::string(64, 'y') + "'", 0, TRN_WIRE_CHAR + TRN_HANDED_OVER, std::string(64, 'y')},
        {"select x'00ff'", 0, TRN_WIRE_BINARY + TRN_HANDED_OVER, "\0\xFF"s},
        {"select c from t", 0, TRN_WIRE_CLOB + TRN_HANDED_OVER, "c"},
        {"select zeroblob(3000000)", 0, TRN_WIRE_BINARY + TRN_HANDED_OVER, std::string(3000000, '\0')},
        {"select null", 0, TRN_WIRE_CHAR, ""},
        {"select b from t", 0, TRN_WIRE_BOOLEAN, "T"},
        {"select n from t", 0, TRN_WIRE_NUMERIC, "1.01"},
        {"select f from t", 0, TRN_WIRE_FLOAT, "0.250000"},
        {"select d from t", 0, TRN_WIRE_DATE, "0000-01-01"},
        {"select z from t", 0, TRN_WIRE_TIME_TZ, ""},
        {"select ym from t", 0, TRN_WIRE_INTERVAL_YEAR_TO_MONTH, "-1-02"},
        {"select ds from t", 0, TRN_WIRE_INTERVAL_DAY_TO_SECOND, "2 3:04:05"},
        {"select k from t", 0, TRN_WIRE_INTEGER, "-7"},
        {"select m from t", 0, TRN_WIRE_DATETIME, "1969-12-31 23:59:59"},
        {"select k from t where 0", 0, 0, ""},
        {many + "199) select i from n", 0, TRN_WIRE_BIGINT, "1"},
        {many + "200) select i from n", 0, TRN_WIRE_BIGINT, "1"},
        {many + "1001) select i from n", 0, TRN_WIRE_BIGINT, "1"},
        {"insert into t(k) values(1)", 1, 77, ""},
        {"update t set k = 2", 2, 77, ""},
        {"delete from t", 3, 77, ""},
        {"select * from missing", TRN_ERR_SERVER, 77, ""},
        {"select 'in step'", 0, TRN_WIRE_CHAR, "in step"},
    };
    for (const SingleValue& c : cases) {
        const SingleValue got = single_value(connection, c.sql);
        EXPECT_EQ(got.status, c.status) << c.sql;
        EXPECT_EQ(got.type_word, c.type_word) << c.sql;
        EXPECT_TRUE(got.value == c.value) << c.sql << " gave " << got.value.substr(0, 100);
    }
    EXPECT_EQ(error_text(connection.handle), "no such table: missing");
}
