/*
 * The buffers of one connection over a real socket: when writes leave, what waits, how far a read reaches, and
 * the position in the keystream behind a byte given back. No exported call reads several bytes behind one that
 * was given back, so that this position shows here only.
 */
#include "conn/conn.h"
#include "crypto/turing.h"
#include "enciphered_channel.h"
#include "sockets.h"
#include "wire/receive.h"
#include "wire/send.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <csignal>
#include <thread>
#endif

using namespace test_support;

namespace {

class transfer : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        std::uint16_t port = 0;
        const socket_handle listener = listen_on_loopback(port);
        tarn::platform::start_sockets();
        conn_.sock = tarn::platform::connect_stream(tarn::platform::parse_address("127.0.0.1"), port, 10000);
        peer_ = accept_client(listener);
        close_socket(listener);
        conn_.use_ssl = GetParam();
        if (!GetParam()) return;
        const std::string key(32, 'k');
        for (tarn::TuringState** state : {&conn_.recv_cipher, &conn_.send_cipher}) {
            *state = tarn::allocate_record<tarn::TuringState>();
            tarn::set_up_keystream(**state, reinterpret_cast<const uint8_t*>(key.data()));
        }
        from_client_ = to_client_ = keystream(key);
    }
    void TearDown() override {
        tarn::break_link(conn_);
        close_socket(peer_);
    }
    /* Exactly so many bytes must have left, and no more. */
    std::string arrived(std::size_t count) {
        std::string bytes(count, '\0');
        for (std::size_t filled = 0; filled < count;) {
            if (!wait_readable(peer_, std::chrono::seconds(10))) return "nothing came";
            filled += static_cast<std::size_t>(receive_some(peer_, bytes.data() + filled, count - filled));
        }
        EXPECT_FALSE(wait_readable(peer_, std::chrono::milliseconds(0)));
        return from_client_(bytes);
    }
    void deliver(const std::string& bytes) {
        ASSERT_TRUE(send_all(peer_, to_client_(bytes)));
        ASSERT_TRUE(wait_readable(static_cast<socket_handle>(conn_.sock), std::chrono::seconds(10)));
    }
    tarn::Conn conn_{};
    socket_handle peer_ = no_socket;
    Coder from_client_ = [](std::string bytes) { return bytes; }, to_client_ = from_client_;
};

TEST_P(transfer, writes_wait_until_8191_bytes_are_gathered_or_a_large_one_comes) {
    // clang-format off
    const struct { std::vector<std::size_t> writes; std::size_t left, waiting; } cases[] = {
        {{0}, 0, 0}, {{2048}, 0, 2048}, {{2049}, 2049, 0}, {{1, 2049}, 2050, 0}, {{8191}, 8191, 0}, {{8192}, 8192, 0},
        {{2000, 2000, 2000, 2000, 191}, 0, 8191}, {{2000, 2000, 2000, 2000, 192}, 8000, 192},
        {{2048, 2048, 2048, 2047, 1}, 8191, 1}, {{2048, 2048, 2048, 2043, 4}, 0, 8191},
        {{2048, 2048, 2048, 2044, 4}, 8188, 4}, {{5, 100000, 4}, 100005, 4}, {{2047, 8193, 2048}, 10240, 2048},
    };
    // clang-format on
    for (const auto& each : cases) {
        std::string written;
        for (const std::size_t size : each.writes) {
            const std::string bytes(size, static_cast<char>('a' + size % 26));
            tarn::put_bytes(conn_, bytes.data(), size);
            written += bytes;
        }
        SCOPED_TRACE(testing::PrintToString(each.writes));
        EXPECT_EQ(conn_.send_fill, static_cast<std::int32_t>(each.waiting));
        EXPECT_TRUE(arrived(each.left) == written.substr(0, each.left));
        EXPECT_EQ(tarn::flush_send(conn_), 0);
        EXPECT_TRUE(arrived(each.waiting) == written.substr(each.left));
    }
}

TEST_P(transfer, a_read_takes_from_an_enciphered_socket_what_it_needs_and_no_more) {
    deliver("abcdefghij");
    uint8_t byte = 0;
    char rest[10] = {};
    ASSERT_TRUE(tarn::read_u8(conn_, byte));
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(conn_.recv_fill - conn_.recv_pos, GetParam() ? 0 : 9);
    EXPECT_EQ(wait_readable(static_cast<socket_handle>(conn_.sock), std::chrono::milliseconds(0)),
              GetParam());
    ASSERT_TRUE(tarn::read_bytes(conn_, rest, 9));
    EXPECT_STREQ(rest, "bcdefghij");
}

TEST_P(transfer, a_byte_given_back_counts_again_when_others_are_read_with_it) {
    uint8_t byte = 0;
    std::uint32_t number = 0;
    deliver("x");
    for (int i = 0; i < 3; ++i) { /* alone it does not count */
        ASSERT_TRUE(tarn::read_u8(conn_, byte));
        EXPECT_EQ(byte, 'x');
        tarn::push_back(conn_, byte);
    }
    deliver("\2\3\4");
    ASSERT_TRUE(tarn::read_u32(conn_, number));
    EXPECT_EQ(number, 0x78020304u);
    to_client_("."); /* the position that was used up twice */
    deliver("next");
    ASSERT_TRUE(tarn::read_u32(conn_, number));
    EXPECT_EQ(number, 0x6E657874u);
}

#ifndef _WIN32
TEST_P(transfer, a_send_that_signals_interrupt_goes_out_whole) {
    const std::string bytes(32 * 1024 * 1024, 's'); /* far more than the sockets take at once */
    struct sigaction interrupt {};
    struct sigaction before {};
    interrupt.sa_handler = [](int) {}; /* without SA_RESTART */
    sigaction(SIGUSR1, &interrupt, &before);
    std::ptrdiff_t sent = 0;
    std::thread sender([&] { sent = tarn::platform::send_some(conn_.sock, bytes.data(), bytes.size()); });
    std::string part(1024 * 1024, '\0');
    std::size_t received = 0;
    while (received < bytes.size() && wait_readable(peer_, std::chrono::seconds(10))) {
        pthread_kill(sender.native_handle(), SIGUSR1);
        received += static_cast<std::size_t>(receive_some(peer_, part.data(), part.size()));
    }
    EXPECT_EQ(received, bytes.size());
    sender.join();
    EXPECT_EQ(sent, static_cast<std::ptrdiff_t>(bytes.size()));
    sigaction(SIGUSR1, &before, nullptr);
}
#endif

INSTANTIATE_TEST_SUITE_P(channels, transfer, testing::Bool());

} // namespace
