// Faults on purpose, on both channels.

#include "faults.h"
#include "raw_client.h"
#include "server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace {

class tarnlite_faults : public testing::TestWithParam<bool> {
  protected:
    static tarnlite::Settings with(std::initializer_list<const char*> faults) {
        tarnlite::Settings settings{.port = 0};
        for (const char* fault : faults)
            add_fault(settings.faults, fault);
        return settings;
    }
    // The answer is left to receive.
    static void log_in(RawClient& client) {
        const std::string login = login_text("u", "p", " lob_ret=descriptor");
        GetParam() ? client.open_encrypted(login) : client.send(login);
    }
};

INSTANTIATE_TEST_SUITE_P(, tarnlite_faults, testing::Bool(),
                         [](const auto& channel) { return channel.param ? "encrypted" : "plain"; });

} // namespace

TEST_P(tarnlite_faults, logins_are_refused) {
    tarnlite::Server server(with({"refuse-login"}));
    RawClient client(server.port());
    log_in(client);
    EXPECT_EQ(client.receive(1), "E");
    EXPECT_EQ(client.receive_text(), "logins are refused");
    EXPECT_TRUE(client.ended_in_order());
}

TEST_P(tarnlite_faults, a_connection_is_dropped_after_so_many_bytes) {
    for (const std::size_t bytes : {0, 3, 6, 100'000}) {
        tarnlite::Server server(with({("drop-after=" + std::to_string(bytes)).c_str()}));
        RawClient client(server.port());
        log_in(client);
        client.send(command("select printf('%.*c', 200000, 'x')"));
        client.receive(bytes);
        EXPECT_TRUE(client.ended_in_order()) << bytes;
    }
}

TEST_P(tarnlite_faults, every_command_is_answered_late_and_with_an_error) {
    using std::chrono::milliseconds;
    tarnlite::Server server(with({"error=out of order", "delay=40"}));
    RawClient client(server.port());
    const auto start = std::chrono::steady_clock::now();
    log_in(client);
    EXPECT_EQ(client.receive(6).back(), 'K');
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(40));
    const std::string batch =
        command("insert into t values(?)", 1, 2) + entry(30, "a") + block(row_value(30, "b"));
    for (const std::string& request : {command("show version"), batch, command("select 1")}) {
        client.send(request);
        const auto items = client.receive_reply();
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].letter + items[0].text, "Eout of order");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(160));
}

TEST(tarnlite_fault_texts, unknown_faults_and_wrong_values_are_refused) {
    tarnlite::Faults faults;
    for (const char* text : {"", "refuse", "refuse-login=1", "drop-after", "drop-after=", "drop-after=1x",
                             "drop-after=18446744073709551616", "delay=-1", "delay=3600001"}) {
        EXPECT_THROW(add_fault(faults, text), std::runtime_error) << text;
    }
    add_fault(faults, "error=");
    EXPECT_EQ(faults.error, "");
    add_fault(faults, "error");
    EXPECT_FALSE(faults.error->empty());
}
