// The server as a client sees it: bytes over loopback, against a server in this process or as a child process.

#include "raw_client.h"
#include "server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::string_literals;

namespace {

tarnlite::Settings on_any_port() {
    tarnlite::Settings settings;
    settings.port = 0;
    return settings;
}

class TemporaryFolder {
  public:
    TemporaryFolder()
        : path_(std::filesystem::temp_directory_path() / ("tarnlite_test." + std::to_string(::getpid()))) {
        std::filesystem::create_directory(path_);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

class tarnlite_server : public testing::Test {
  protected:
    tarnlite::Server server_{on_any_port()};
};

} // namespace

TEST_F(tarnlite_server, login_arriving_byte_by_byte_is_accepted_with_the_command_behind_it) {
    RawClient client(server_.port());
    for (const char byte : login_text("any", "one", " auto_commit = 'on'") + command("select 7")) {
        client.send(std::string(1, byte));
    }
    EXPECT_EQ(client.receive(1), "N");
    EXPECT_EQ(client.receive(5).back(), 'K');
    EXPECT_EQ(client.receive_reply().at(0).rows.at(0).at(0), "\0\0\0\0\0\0\0\x07"s);
}

TEST(tarnlite_login_answer, the_older_protocol_answers_with_one_letter) {
    tarnlite::Settings settings = on_any_port();
    settings.protocol = 201;
    tarnlite::Server server(settings);
    RawClient client(server.port());
    client.send(login_text("u", "p"));
    EXPECT_EQ(client.receive(1), "K");
    EXPECT_EQ(client.value("select 'x'"), "x");
}

TEST(tarnlite_login_answer, a_wrong_password_is_refused_with_a_reason) {
    tarnlite::Settings settings = on_any_port();
    settings.credentials = tarnlite::Credentials{"ada", "right"};
    tarnlite::Server server(settings);
    for (const std::string& text :
         {login_text("ada", "wrong"), login_text("eve", "right"), "~ssl~"s, "GET / HTTP/1.1"s}) {
        RawClient client(server.port());
        client.send(text);
        const std::string letter = client.receive(1);
        EXPECT_TRUE(letter != "K" && letter != "N") << text;
        EXPECT_FALSE(client.receive_text().empty()) << text;
        EXPECT_TRUE(client.ended_by_server()) << text;
    }
    RawClient client(server.port());
    client.send(login_text("ada", "right"));
    EXPECT_EQ(client.receive(6).back(), 'K');
}

TEST_F(tarnlite_server, each_kind_of_statement_has_its_item_and_all_share_one_reply) {
    RawClient client(server_.port());
    client.log_in();
    EXPECT_TRUE(
        client.run("create table t(id integer primary key, name varchar(20) not null); ; -- none").empty());
    const auto items =
        client.run("insert into t(name) values('a'); replace into t values(9, 'b'), (5, 'c');"
                   "insert into t select * from t where 0; update t set name = 'z' where id > 4;"
                   "select id, name as n, id + 0.5 from t order by id; delete from t where id = 9;"
                   "with k as (select 1 as i) delete from t where id in (select i from k);"
                   "insert into t(name) values('r') returning id");
    ASSERT_EQ(items.size(), 7U);
    EXPECT_EQ(items[0].letter, 'I');
    EXPECT_EQ(items[0].text, "1");
    EXPECT_EQ(items[1].text, "5");
    EXPECT_EQ(items[2].letter, 'U');
    EXPECT_EQ(items[2].count, 2U);
    EXPECT_EQ(items[3].letter, 'A');
    EXPECT_EQ(items[4].letter, 'D');
    EXPECT_EQ(items[4].count, 1U);
    EXPECT_EQ(items[5].count, 1U);
    EXPECT_EQ(items[6].rows.at(0).at(0), "\0\0\0\x06"s);

    const auto& columns = items[3].columns;
    ASSERT_EQ(columns.size(), 3U);
    EXPECT_EQ(columns[0].name, "t.id%id");
    EXPECT_EQ(columns[0].wire_type, 5U);
    EXPECT_EQ(columns[0].flags, 2U);
    EXPECT_EQ(columns[1].name, "t.name%n");
    EXPECT_EQ(columns[1].wire_type, 30U);
    EXPECT_EQ(columns[1].modifier, 20U);
    EXPECT_EQ(columns[1].flags, 1U);
    EXPECT_EQ(columns[2].name, "%id + 0.5");
    EXPECT_EQ(columns[2].wire_type, 9U);
    EXPECT_EQ(items[3].rows.at(2).at(2), "\x40\x23\0\0\0\0\0\0"s);
}

TEST_F(tarnlite_server, the_items_before_an_error_stand_and_nothing_after_it_runs) {
    RawClient client(server_.port());
    client.log_in();
    const auto items =
        client.run("create table t(a int); insert into t values(1); selec 1; insert into t values(2)");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].letter, 'I');
    EXPECT_EQ(items[1].letter, 'E');
    EXPECT_NE(items[1].text.find("selec"), std::string::npos);
    EXPECT_EQ(client.value("select count(*) from t"), "\0\0\0\0\0\0\0\x01"s);
    EXPECT_EQ(client.run("select 1\0, 2"s).at(0).letter, 'E');
    EXPECT_EQ(client.run("select abs(-9223372036854775808)").at(0).letter, 'E');
}

TEST_F(tarnlite_server, a_value_that_does_not_fit_its_column_ends_the_result) {
    RawClient client(server_.port());
    client.log_in();
    client.run("create table t(id int, due date, span interval year to month)");
    client.run("insert into t values(1, '2024-02-29', '3-04'), (2, 'soon', null), (3, null, null)");
    const auto items = client.run("select due, span from t order by id; select 1");
    ASSERT_EQ(items.size(), 2U);
    ASSERT_EQ(items[0].rows.size(), 1U);
    EXPECT_EQ(items[0].columns.at(1).wire_type, 16U);
    EXPECT_EQ(items[0].rows[0], (std::vector<std::string>{"\0\0\x4D\x46"s, "\0\0\0\x28"s}));
    EXPECT_EQ(items[1].text, "column due: 'soon' cannot be given as DATE");
}

TEST_F(tarnlite_server, expressions_take_their_type_from_the_first_rows) {
    RawClient client(server_.port());
    client.log_in();
    const struct {
        const char* sql;
        std::uint32_t wire_type;
        std::string first_value;
    } cases[] = {
        {"values (1), (2)", 6, "\0\0\0\0\0\0\0\x01"s},
        {"values (1), (null), (2.5)", 9, "\x3F\xF0\0\0\0\0\0\0"s},
        {"values (null), ('x')", 30, ""},
        {"values (1), ('x')", 30, "1"},
        {"values (x'00ff'), (null)", 33, "\0\xFF"s},
        {"values (2.0), (x'00')", 30, "2.0"},
        {"select null where 0", 30, ""},
    };
    for (const auto& c : cases) {
        const auto items = client.run(c.sql);
        ASSERT_EQ(items.size(), 1U) << c.sql;
        EXPECT_EQ(items[0].columns.at(0).wire_type, c.wire_type) << c.sql;
        const std::string first_value = items[0].rows.empty() ? "" : items[0].rows[0][0];
        EXPECT_EQ(first_value, c.first_value) << c.sql;
    }
}

TEST_F(tarnlite_server, names_that_cannot_stand_in_a_wire_name_leave_the_label) {
    RawClient client(server_.port());
    client.log_in();
    client.run("create table \"a.b\"(\"c%d\" int); create table e(\"f.g\" int)");
    const std::string longest(2000, 'x');
    const auto items =
        client.run("select \"c%d\" as l from \"a.b\"; select \"f.g\" from e; select 1 as " + longest);
    EXPECT_EQ(items.at(0).columns.at(0).name, "%l");
    EXPECT_EQ(items.at(1).columns.at(0).name, "e.f.g%f.g");
    EXPECT_EQ(items.at(2).columns.at(0).name, std::string(1, '%').append(longest, 0, 1023));
}

TEST_F(tarnlite_server, many_rows_and_large_values_arrive_whole) {
    RawClient client(server_.port());
    client.log_in();
    const auto items =
        client.run("with recursive n(i) as (values(1) union all select i + 1 from n where i < 100000) "
                   "select i, 'row ' || i from n; select printf('%.*c', 3000000, 'x')");
    ASSERT_EQ(items.size(), 2U);
    ASSERT_EQ(items[0].rows.size(), 100000U);
    EXPECT_EQ(items[0].rows[99999][0], "\0\0\0\0\0\x01\x86\xA0"s);
    EXPECT_EQ(items[0].rows[65][1], "row 66");
    EXPECT_EQ(items[1].rows.at(0).at(0), std::string(3'000'000, 'x'));
    EXPECT_EQ(client.value("select length('" + std::string(300'000, 'y') + "')"), "\0\0\0\0\0\x04\x93\xE0"s);
}

TEST_F(tarnlite_server, a_client_that_leaves_amid_its_result_disturbs_nobody) {
    {
        RawClient leaving(server_.port());
        leaving.log_in();
        leaving.send(
            command("with recursive n(i) as (values(1) union all select i + 1 from n) select i from n"));
        leaving.receive(1000);
    }
    RawClient client(server_.port());
    client.log_in();
    EXPECT_EQ(client.value("select 'here'"), "here");
}

TEST_F(tarnlite_server, connections_share_the_database_and_uncommitted_work_dies_with_its_connection) {
    RawClient first(server_.port());
    first.log_in();
    first.run("create table t(a int)");
    {
        RawClient second(server_.port());
        second.log_in(" auto_commit = 'off'");
        EXPECT_EQ(second.value("select count(*) from t"), "\0\0\0\0\0\0\0\0"s);
        EXPECT_TRUE(second.run("commit; rollback").empty());
        second.run(
            "insert into t values(1); commit; insert into t values(2); rollback; insert into t values(3)");
        EXPECT_EQ(second.value("select sum(a) from t"), "\0\0\0\0\0\0\0\x04"s);
    }
    // Waits inside the server until the lock of the vanished connection is gone.
    EXPECT_EQ(first.value("select sum(a) from t"), "\0\0\0\0\0\0\0\x01"s);
    tarnlite::Server other(on_any_port());
    RawClient stranger(other.port());
    stranger.log_in();
    EXPECT_EQ(stranger.run("select * from t").at(0).letter, 'E');
}

TEST_F(tarnlite_server, the_lock_timeout_of_the_login_bounds_the_wait) {
    RawClient holder(server_.port());
    holder.log_in();
    holder.run("create table t(a int); begin immediate");
    RawClient waiter(server_.port());
    waiter.log_in(" lock_timeout = 1");
    EXPECT_EQ(waiter.run("insert into t values(1)").at(0).text, "database is locked");
    holder.run("commit");
    EXPECT_EQ(waiter.run("insert into t values(1)").at(0).letter, 'I');
}

TEST_F(tarnlite_server, lone_dots_are_passed_over_and_the_version_is_shown) {
    RawClient client(server_.port());
    client.log_in();
    client.send("..");
    const std::string version = client.value("SHOW version;");
    EXPECT_EQ(version.find("tarnlite"), 0U);
    EXPECT_LT(version.size(), 64U);
}

TEST_F(tarnlite_server, bytes_that_are_no_command_end_the_connection) {
    for (const std::string& bytes : {"\xFF\0\x01garbage"s, "select 1"s}) {
        RawClient client(server_.port());
        client.log_in();
        client.send(bytes);
        EXPECT_TRUE(client.ended_by_server()) << bytes;
    }
    const std::string no_terminator = "?\0\0\0\x01xy\0\0\0\0"s;
    const std::string too_long = "?\xFF\xFF\xFF\xFFx"s;
    for (const std::string& bytes :
         {command("select 1", 2) + std::string(1'000'000, 'e'), no_terminator, too_long}) {
        RawClient client(server_.port());
        client.log_in();
        client.send(bytes);
        const auto items = client.receive_reply();
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].letter, 'E');
        EXPECT_TRUE(client.ended_in_order());
    }
}

TEST(tarnlite_stop, running_waiting_and_silent_sessions_end_with_the_server) {
    const TemporaryFolder folder;
    tarnlite::Settings settings = on_any_port();
    settings.database_file = folder.path() / "data";
    const auto holder = tarnlite::open_database(settings.database_file);
    ASSERT_EQ(sqlite3_exec(holder.get(), "create table t(a int); begin immediate", nullptr, nullptr, nullptr),
              0);

    auto server = std::make_unique<tarnlite::Server>(settings);
    RawClient silent(server->port());
    RawClient idle(server->port());
    idle.log_in();
    RawClient waiting(server->port());
    waiting.log_in(" lock_timeout = 300");
    waiting.send(command("select printf('%.*c', 100000, 'x'); insert into t values(1)"));
    RawClient running(server->port());
    running.log_in();
    running.send(
        command("select printf('%.*c', 100000, 'x');"
                "with recursive n(i) as (values(1) union all select i + 1 from n) select max(i) from n"));
    // What arrives here is sent before the endless statements begin.
    waiting.receive(1000);
    running.receive(1000);
    server.reset();
    EXPECT_TRUE(idle.ended_by_server());
    EXPECT_TRUE(silent.ended_by_server());
}

TEST(tarnlite_program, tells_its_port_serves_a_file_and_ends_on_sigterm) {
    const auto place =
        std::filesystem::temp_directory_path() / ("tarnlite_test." + std::to_string(::getpid()));
    std::filesystem::create_directory(place);
    const std::string port_file = place / "port";
    const std::string database = place / "data";
    for (const char* sql : {"create table t(a int); insert into t values(1)", "insert into t values(1)"}) {
        int pipe_ends[2];
        ASSERT_EQ(::pipe(pipe_ends), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(pipe_ends[1], STDOUT_FILENO);
            ::close(pipe_ends[0]);
            ::close(pipe_ends[1]);
            ::execl(TARNLITE_PROGRAM, "tarnlite", "--port", "0", "--port-file", port_file.c_str(),
                    "--database", database.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(pipe_ends[1]);
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(::fdopen(pipe_ends[0], "r"),
                                                                     std::fclose);
        unsigned port = 0;
        ASSERT_EQ(std::fscanf(output.get(), "tarnlite: listening on 127.0.0.1:%u", &port), 1);
        {
            RawClient client(static_cast<std::uint16_t>(port));
            client.log_in();
            EXPECT_EQ(client.run(sql).back().letter, 'I');
            ::kill(child, SIGTERM);
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
            EXPECT_TRUE(client.ended_by_server());
        }
        unsigned written = 0;
        std::ifstream(port_file) >> written;
        EXPECT_EQ(written, port);
    }
}
