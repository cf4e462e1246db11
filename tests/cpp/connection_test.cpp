// Opening and its mistakes, time-outs, cancelling, lost links, moved-from and closed connections.
#include "cpp_fixture.h"

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using cpp_connection = CppTest;

static const char* const endless =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT count(*) FROM n";

TEST_F(cpp_connection, settings_reach_the_server_and_mistakes_are_told) {
    tarnsql::connection_settings settings;
    settings.port = static_cast<int>(server_.port());
    settings.database = "demo";
    settings.user = "ada";
    settings.password = "a=b,c"; // nothing special in it
    settings.encrypted = true;
    settings.other = {{"lock_timeout", "7"}};
    tarnsql::connection db(settings, {1s, 5s, 10s, 1s, 3, false});
    EXPECT_TRUE(db.is_open() && db.is_encrypted() && !db_.is_encrypted());
    EXPECT_EQ(db.server_version().substr(0, 8), "tarnlite");

    settings.password = "x' user='two";
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { tarnsql::connection refused(settings); }),
              "[EX004]connection string: password: a quote in the value would end its clause of the login");
    for (const char* password : {"x;use_ssl=off", " x", "x "}) {
        settings.password = password;
        EXPECT_EQ(thrown<tarnsql::usage_error>([&] { tarnsql::connection refused(settings); }),
                  "password: a connection string cannot hold the value");
    }
    settings.password.clear();
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { tarnsql::connection refused("server=127.0.0.1;prot=1"); }),
              "[EX004]connection string: prot is no known key");
    EXPECT_EQ(thrown<tarnsql::range_error>([&] { tarnsql::connection refused(settings, {-1ms}); }),
              "a time-out out of range");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { db_.execute(std::string("SELECT 1\0 and more", 18)); }),
              "a text with a zero byte inside");
}

TEST_F(cpp_connection, failures_of_opening_have_status_code_and_text) {
    LiveServer guarded({"--user", "ada", "--password", "other"});
    try {
        tarnsql::connection refused(guarded.connection_string());
        FAIL() << "logged in";
    } catch (const tarnsql::connection_error& error) {
        EXPECT_EQ(error.status(), TRN_ERR_LOGIN);
        EXPECT_EQ(error.code(), "EX003");
        EXPECT_EQ(error.text().substr(0, 15), "127.0.0.1 port ");
    }
    unsigned unused = 0;
    { unused = LiveServer().port(); }
    try {
        tarnsql::connection refused("server=127.0.0.1;port=" + std::to_string(unused) + ";user=ada");
        FAIL() << "connected";
    } catch (const tarnsql::connection_error& error) {
        EXPECT_EQ(error.status(), TRN_ERR_CONNECT);
        EXPECT_EQ(error.code(), "EX002");
    }
    try {
        db_.execute("SELECT [x] FROM nowhere");
        FAIL() << "no such table";
    } catch (const tarnsql::server_error& error) {
        EXPECT_EQ(error.status(), TRN_ERR_SERVER);
        EXPECT_EQ(error.code(), "");
        EXPECT_EQ(error.text(), "no such table: nowhere");
    }
}

TEST_F(cpp_connection, closed_and_moved_from_connections_throw) {
    tarnsql::connection moved = std::move(db_);
    for (const char* state : {"the object was moved from", "the connection is closed"}) {
        EXPECT_FALSE(db_.is_open()); // NOLINT: on purpose
        EXPECT_FALSE(db_.cancel());
        const auto misuse = [](auto work) { return thrown<tarnsql::usage_error>(work); };
        EXPECT_EQ(misuse([&] { db_.execute("SELECT ?", 1); }), state);
        EXPECT_EQ(misuse([&] { db_.query("SELECT 1"); }), state);
        EXPECT_EQ(misuse([&] { db_.prepare("SELECT 1"); }), state);
        EXPECT_EQ(misuse([&] { db_.stream("SELECT 1"); }), state);
        EXPECT_EQ(misuse([&] { db_.execute_batch("SELECT ?", std::vector<int>{1}); }), state);
        EXPECT_EQ(misuse([&] { tarnsql::transaction begun(db_); }), state);
        EXPECT_EQ(misuse([&] { db_.reconnect(); }), state);
        EXPECT_EQ(misuse([&] { db_.set_receive_timeout(1s); }), state);
        EXPECT_EQ(misuse([&] { db_.last_inserted_id(); }), state);
        EXPECT_EQ(misuse([&] { db_.is_encrypted(); }), state);
        db_ = tarnsql::connection(server_.connection_string());
        EXPECT_EQ(db_.query_value<int>("SELECT 1"), 1);
        db_.close();
    }
    auto rows = moved.query<int>("SELECT 1");
    moved.close();
    for (auto [number] : rows) // outlives it
        EXPECT_EQ(number, 1);
}

TEST_F(cpp_connection, a_cancel_ends_the_call_and_nothing_else) {
    const tarnsql::canceller canceller = db_.get_canceller();
    EXPECT_FALSE(canceller.cancel());
    for (int round = 0; round < 2; ++round) {
        std::atomic<bool> done{false};
        std::thread other([&] {
            while (!done && !canceller.cancel())
                std::this_thread::yield();
        });
        EXPECT_EQ(thrown<tarnsql::cancelled_error>([&] { db_.query(endless); }),
                  "[EX001]the call was cancelled");
        done = true;
        other.join();
        EXPECT_EQ(thrown<tarnsql::connection_error>([&] { db_.execute("SELECT 1"); }),
                  "the link to the server is lost");
        db_.reconnect();
        EXPECT_EQ(db_.query_value<int>("SELECT 1"), 1);
    }
    db_.close();
    EXPECT_FALSE(canceller.cancel());
}

TEST_F(cpp_connection, a_reply_that_does_not_come_and_a_lost_server_throw) {
    db_.set_receive_timeout(50ms);
    EXPECT_EQ(thrown<tarnsql::connection_error>([&] { db_.query(endless); }),
              "the link to the server is lost");
    db_.set_receive_timeout(0ms);
    db_.reconnect();
    tarnsql::statement prepared = db_.prepare("SELECT 1");
    auto cursor = db_.stream("SELECT 1");
    tarnsql::transaction transaction(db_);
    server_.kill();
    EXPECT_EQ(thrown<tarnsql::connection_error>([&] { prepared.execute(); }),
              "the link to the server is lost");
    EXPECT_EQ(thrown<tarnsql::connection_error>([&] { transaction.commit(); }),
              "the link to the server is lost");
    EXPECT_THROW(cursor.begin(), tarnsql::connection_error);
    EXPECT_THROW(db_.execute_batch("SELECT ?", std::vector<int>{1}), tarnsql::connection_error);
    EXPECT_THROW(db_.reconnect(), tarnsql::connection_error);
} // and what is left ends without an exception

TEST_F(cpp_connection, printed_lines_go_to_the_handler) {
    std::vector<std::string> lines;
    tarnsql::set_line_handler([&](tarnsql::line_kind kind, std::string_view line) {
        if (kind == tarnsql::line_kind::printed) lines.emplace_back(line);
        throw std::runtime_error("which nobody sees");
    });
    EXPECT_THROW(db_.execute("no statement"), tarnsql::server_error);
    tarnsql::set_line_handler([](auto...) {});
    EXPECT_THROW(db_.execute("no statement"), tarnsql::server_error);
    EXPECT_EQ(lines, std::vector<std::string>{"Server Error near \"no\": syntax error "});
}
