// The program as its user meets it: its options, its warnings, how it bears a crowd, and how it ends.

#include "raw_client.h"
#include "server_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

// One call of a function, which SQLite cannot interrupt.
constexpr const char* deaf = "select instr(cast(printf('%.*c', 40000000, 'a') as blob), "
                             "cast(printf('%.*c', 20000000, 'a') || 'b' as blob))";

} // namespace

TEST(tarnlite_program, tells_its_version) {
    Program program({TARNLITE_PROGRAM, "--version"});
    EXPECT_EQ(program.line(), TARNLITE_VERSION "\n");
    EXPECT_EQ(program.wait(), 0);
    ServerProcess server;
    RawClient client(server.port());
    client.log_in();
    EXPECT_TRUE(client.value("show version").starts_with(TARNLITE_VERSION " (SQLite "));
}

TEST(tarnlite_program, warns_when_the_network_may_read_and_write_the_data) {
    const struct {
        std::vector<std::string> options;
        const char* warning;
    } cases[] = {
        {{}, ""},
        {{"--listen", "127.0.0.2"}, ""},
        {{"--listen", "0.0.0.0", "--user", "u", "--password", "p"}, ""},
        {{"--listen", "0.0.0.0"}, "anyone who reaches the port may read and change the database\n"},
        {{"--listen", "0.0.0.0", "--allow-files"}, "every file that this user may\n"},
    };
    for (const auto& c : cases) {
        const ServerProcess server(c.options);
        EXPECT_EQ(server.errors().empty(), *c.warning == '\0') << server.errors();
        EXPECT_TRUE(server.errors().ends_with(c.warning)) << server.errors();
    }
}

TEST(tarnlite_program, a_crowd_of_silent_connections_keeps_nobody_out) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ASSERT_GE(limit.rlim_cur, 2100U) << "too few descriptors for this test";
    const ServerProcess server({}, 1024);
    std::vector<std::unique_ptr<RawClient>> crowd;
    while (crowd.size() < 2000)
        crowd.push_back(std::make_unique<RawClient>(server.port()));
    const auto start = Clock::now();
    for (const bool encrypted : {false, true}) {
        RawClient client(server.port());
        const std::string login = login_text("u", "p");
        encrypted ? client.open_encrypted(login) : client.send(login);
        EXPECT_EQ(client.receive(6).back(), 'K');
        EXPECT_EQ(client.value("select 'here'"), "here");
    }
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
}

TEST(tarnlite_program, a_client_that_leaves_takes_its_statement_with_it) {
    const ServerProcess server;
    auto client = std::make_unique<RawClient>(server.port());
    client->log_in();
    client->send(command(endless) + command("select 1")); // bytes behind it hide nothing
    server.await_work(milliseconds(50));
    client.reset();
    const auto start = Clock::now();
    milliseconds work = server.processor_time();
    milliseconds more{1};
    for (; more.count() > 0 && Clock::now() - start < std::chrono::seconds(10); work += more) {
        std::this_thread::sleep_for(milliseconds(50)); // what is measured
        more = server.processor_time() - work;
    }
    const auto taken = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    RecordProperty("milliseconds", static_cast<int>(taken.count()));
    EXPECT_LE(taken, milliseconds(500));
}

TEST(tarnlite_program, a_stop_signal_ends_it_whatever_runs) {
    const Folder folder;
    const std::vector<std::string> options{"--database", folder / "data.db"};
    {
        ServerProcess server(options);
        RawClient idle(server.port());
        idle.log_in();
        idle.run("create table t(a); insert into t values(1)");
        RawClient silent(server.port());
        RawClient endlessly(server.port());
        endlessly.log_in();
        endlessly.send(command(endless));
        RawClient deafly(server.port());
        deafly.log_in();
        deafly.run("begin; insert into t values(2)");
        deafly.send(command(deaf));
        RawClient waiting(server.port());
        waiting.log_in(" lock_timeout = 300");
        waiting.send(command("insert into t values(3)"));
        server.await_work(milliseconds(600));
        const auto start = Clock::now();
        server.signal(SIGTERM);
        EXPECT_EQ(server.wait(), 0);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
        EXPECT_NE(server.errors().find("could not be interrupted"), std::string::npos) << server.errors();
        for (RawClient* client : {&idle, &silent, &waiting})
            EXPECT_TRUE(client->ended_by_server());
    }
    const ServerProcess server(options);
    RawClient client(server.port());
    client.log_in();
    EXPECT_EQ(client.value("select group_concat(a) from t"), "1");
    EXPECT_EQ(client.value("pragma integrity_check"), "ok");
}
