// The bounds of the server's patience: for logins, for the rest of a request, for a command's run, and of how
// many may be there at a time.

#include "raw_client.h"
#include "server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

using namespace std::string_literals;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

class tarnlite_limits : public testing::Test {
  protected:
    std::uint16_t port() {
        if (!server_) server_.emplace(settings_);
        return server_->port();
    }
    std::unique_ptr<RawClient> log_in(std::string_view clauses = "") {
        auto client = std::make_unique<RawClient>(port());
        client->log_in(clauses);
        return client;
    }
    static void expect_error(const std::vector<Item>& items, std::string_view text) {
        ASSERT_FALSE(items.empty()) << text;
        EXPECT_EQ(items.back().letter, 'E') << text;
        EXPECT_EQ(items.back().text, text);
    }

    tarnlite::Settings settings_{.port = 0};
    std::optional<tarnlite::Server> server_;
};

} // namespace

TEST_F(tarnlite_limits, logins_that_take_too_long_end_their_connection) {
    settings_.login_timeout = milliseconds(150);
    const auto start = Clock::now();
    RawClient silent(port());
    RawClient slow(port());
    slow.send("login data");
    RawClient encrypted(port());
    encrypted.send("~ssl~");
    encrypted.receive(64);
    for (RawClient* client : {&silent, &slow, &encrypted})
        EXPECT_TRUE(client->ended_by_server());
    EXPECT_GE(Clock::now() - start, milliseconds(140));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

TEST_F(tarnlite_limits, one_client_too_many_is_refused_with_a_reason) {
    settings_.most_connections = 2;
    const auto first = log_in();
    auto second = log_in();
    for (const bool encrypted : {false, true}) {
        RawClient third(port());
        const std::string login = login_text("u", "p");
        encrypted ? third.open_encrypted(login) : third.send(login);
        EXPECT_EQ(third.receive(1), "E");
        EXPECT_EQ(third.receive_text(),
                  "the server already has 2 connections, its limit (--max-connections)");
        EXPECT_TRUE(third.ended_in_order());
    }
    second.reset();
    for (bool admitted = false; !admitted;) { // as soon as the server has seen the other one go
        RawClient next(port());
        next.send(login_text("u", "p"));
        admitted = next.receive(1) == "N";
    }
    EXPECT_EQ(first->value("select 'here'"), "here");
}

TEST_F(tarnlite_limits, a_request_that_stops_midway_is_answered_and_undone) {
    settings_.request_timeout = milliseconds(150);
    const auto idle = log_in();
    idle->run("create table t(a int)");
    const std::string generic = "the rest of the request did not come in time";
    const std::string batch = command("insert into t values(?)", 1, 3) + entry(5, "\0\0\0\1"s);
    const struct {
        std::string bytes;
        std::string error;
    } cases[] = {
        {command("insert into t values(?)", 1), "parameters announced by the command: 1, received: 0"},
        {command("insert into t values(?)", 3) + entry(5, "\0\0\0\1"s) + "\0\0\0"s,
         "parameters announced by the command: 3, received: 1"},
        {command("insert into t values(7)").substr(0, 20), generic},
        {batch, generic},
        {batch + block(row_value(5, "\0\0\0\2"s)), generic},
    };
    for (const auto& c : cases) {
        const auto client = log_in();
        const auto start = Clock::now();
        client->send(c.bytes);
        expect_error(client->receive_reply(), c.error);
        EXPECT_GE(Clock::now() - start, milliseconds(140)) << c.error;
        EXPECT_TRUE(client->ended_in_order()) << c.error;
    }
    EXPECT_EQ(idle->value("select count(*) from t").back(),
              '\0'); // after a silence that was longer, but its own
}

TEST_F(tarnlite_limits, a_command_beyond_its_time_ends_with_an_error_and_the_session_goes_on) {
    settings_.statement_timeout = milliseconds(150);
    const std::string error = "the command was ended: it ran for more than 0.15 s (--statement-timeout)";
    const auto client = log_in(" lock_timeout = 300");
    const auto writer = log_in();
    client->run("create table t(a int)");
    expect_error(client->run(endless), error);
    expect_error(client->run("insert into t values(1); insert into t values(2); insert into t "s + endless),
                 error);
    EXPECT_EQ(client->value("select count(*) from t").back(), '\2');

    client->run("declare c cursor for values (1), (2)");
    client->run("open c");
    client->send(
        command("insert into t select ?1 + (with recursive n(i) as (select 1 union all select 2 from n "
                "where ?1 = 2) select max(i) from n)",
                1, 2) +
        entry(5, "\0\0\0\1"s) + block(row_value(5, "\0\0\0\2"s)));
    expect_error(client->receive_reply(), error);
    EXPECT_EQ(client->value("select count(*) from t").back(),
              '\2'); // the interrupt is over, the batch undone
    expect_error(client->run("fetch 1 from c"), "the cursor 'C' is not open");
    client->run("open c");
    EXPECT_EQ(client->run("fetch 9 from c").at(0).rows.size(), 2U);

    writer->run("begin immediate");
    expect_error(client->run("insert into t values(3)"), error);
    EXPECT_EQ(client->value("select 'alive'"), "alive");
}

TEST_F(tarnlite_limits, deep_recursions_of_sqlite_find_stack_enough) {
    const auto client = log_in();
    std::string pattern;
    for (int i = 0; i < 24'999; ++i)
        pattern += "%a";
    EXPECT_EQ(client->value("select printf('%.*c', 49998, 'a') like '" + pattern + "'").back(), '\1');
}
