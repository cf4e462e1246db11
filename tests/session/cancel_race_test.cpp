/*
 * Cancelling beside everything that a connection goes through: a thread cancels without pause while another
 * opens the connection, runs calls on it, reconnects and closes it. Whatever the cancel meets, each call ends
 * as a call or as a cancelled one, and the next connection works.
 */
#include "client.h"
#include "sockets.h"
#include "tarnsql_ext.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

using namespace test_support;

namespace {

#ifdef _WIN32
constexpr int rounds = 300;
#else
constexpr int rounds = 10000;
#endif

/* Answers whatever arrives with one "K", which accepts a login and ends a reply, until the test is over. */
class YesServer {
  public:
    YesServer() : listener_(listen_on_loopback(port_)), thread_([this] { serve(); }) {}
    ~YesServer() {
        done_ = true;
        thread_.join();
        close_socket(listener_);
    }
    YesServer(const YesServer&) = delete;
    YesServer& operator=(const YesServer&) = delete;
    std::string address() const { return "server=127.0.0.1;port=" + std::to_string(port_) + ";db=D"; }

  private:
    void serve() {
        while (!done_) {
            if (!wait_readable(listener_, std::chrono::milliseconds(20))) continue;
            const socket_handle client = accept_client(listener_);
            if (client == no_socket) continue;
            char bytes[4096];
            while (receive_some(client, bytes, sizeof bytes) > 0 && send_all(client, "K")) {
            }
            close_socket(client);
        }
    }

    std::uint16_t port_ = 0;
    socket_handle listener_;
    std::atomic<bool> done_ = false;
    std::thread thread_;
};

} // namespace

TEST(cancel_race, ends_each_call_once_and_nothing_else) {
    TRNX_SetTrace([](void*, std::int32_t, const char*) {},
                  nullptr); /* thousands of calls tell that they ended */
    const YesServer server;
    const std::string text = server.address();
    TRN_HANDLE handle = nullptr;
    std::atomic<bool> done = false;
    long cancelled = 0, idle = 0, absent = 0;
    std::thread canceller([&] {
        for (unsigned pause = 0; !done; pause = pause * 5 + 3) {
            const std::int32_t outcome = TRNX_Cancel(&handle);
            ++(outcome == 1 ? cancelled : outcome == 0 ? idle : absent);
            for (unsigned i = 0; i < pause % 64; ++i) /* meet every part of a call sooner or later */
                std::this_thread::yield();
        }
    });
    std::set<std::int32_t> opens, calls, reconnects;
    for (int round = 0; round < rounds; ++round) {
        opens.insert(TRN_OpenConn(text.c_str(), &handle));
        calls.insert(TRN_Prepare2(&handle, "q", nullptr)); /* the close then talks to the server too */
        calls.insert(TRN_Execute_no_query(&handle, "q"));
        if (round % 4 == 0) reconnects.insert(TRN_ReconnectConn(&handle));
        ASSERT_EQ(TRN_CloseConn(&handle), TRN_OK);
        ASSERT_EQ(handle, nullptr);
    }
    done = true;
    canceller.join();
    for (const std::int32_t status : opens)
        EXPECT_TRUE(status == TRN_OPENED || status == TRN_ERR_CONNECT || status == TRN_ERR_LOGIN) << status;
    for (const std::int32_t status : calls)
        EXPECT_TRUE(status == TRN_OK || status == TRN_ERR_NETWORK) << status;
    for (const std::int32_t status : reconnects)
        EXPECT_TRUE(status == TRN_RECONNECTED || status == TRN_ERR_CONNECT || status == TRN_ERR_LOGIN)
            << status;
    EXPECT_GT(cancelled, 0);
    std::cout << cancelled << " calls cancelled, " << idle << " times none ran, " << absent
              << " times no connection\n";

    Connection undisturbed(text);
    EXPECT_EQ(undisturbed.opened, TRN_OPENED);
    EXPECT_EQ(undisturbed.run("q"), TRN_OK);
    TRNX_SetTrace(nullptr, nullptr);
}
