/*
 * A channel over a real socket: when writes leave and what waits, and reads of every size however the bytes
 * arrive.
 */
#include "encrypted_channel.h"
#include "sockets.h"
#include "wire/receive.h"
#include "wire/send.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <thread>

using namespace test_support;

namespace {

class transfer : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        std::uint16_t port = 0;
        const socket_handle listener = listen_on_loopback(port);
        tarn::platform::start_sockets();
        ASSERT_TRUE(tarn::open_channel(channel_, tarn::platform::parse_address("127.0.0.1"), port,
                                       {0, 10000, false, {}}));
        peer_ = accept_client(listener);
        close_socket(listener);
        if (!GetParam()) return;
        uint8_t key[32];
        std::fill(std::begin(key), std::end(key), 'k');
        ASSERT_TRUE(tarn::encrypt_channel(channel_, key));
        from_client_ = to_client_ = keystream(std::string(32, 'k'));
    }
    void TearDown() override {
        tarn::close_channel(channel_);
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
    void deliver(const std::string& bytes) { ASSERT_TRUE(send_all(peer_, to_client_(bytes))); }
    tarn::Channel channel_{};
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
            tarn::put_bytes(channel_, bytes.data(), size);
            written += bytes;
        }
        SCOPED_TRACE(testing::PrintToString(each.writes));
        EXPECT_EQ(channel_.send_fill, each.waiting);
        EXPECT_TRUE(arrived(each.left) == written.substr(0, each.left));
        EXPECT_EQ(tarn::flush_send(channel_), 0);
        EXPECT_TRUE(arrived(each.waiting) == written.substr(each.left));
    }
}

/* Sizes around the ends of the buffer and of what goes past it, in pieces of every kind. */
TEST_P(transfer, reads_give_the_stream_in_order_whatever_their_sizes) {
    constexpr std::size_t buffer = tarn::recv_buffer_size;
    std::string sent;
    for (std::size_t i = 0; sent.size() < 12 * buffer; ++i)
        sent += std::to_string(i) + ',';
    std::thread sender([&] {
        for (std::size_t done = 0, piece = 1; done < sent.size();
             done += piece, piece = (piece * 7 + 13) % 150001 + 1)
            send_all(peer_, to_client_(sent.substr(done, piece)));
    });
    std::size_t read = 0;
    for (const std::size_t size :
         {std::size_t{1}, buffer - 1, buffer, buffer + 1, std::size_t{0}, std::size_t{3}, 2 * buffer + 5,
          std::size_t{4}, buffer - 4, std::size_t{2}, 3 * buffer}) {
        std::string bytes(size, '\0');
        ASSERT_TRUE(tarn::read_bytes(channel_, bytes.data(), size));
        EXPECT_TRUE(bytes == sent.substr(read, size)) << size << " bytes from " << read;
        read += size;
    }
    tarn::MessageType type;
    ASSERT_TRUE(tarn::read_type(channel_, type));
    EXPECT_EQ(static_cast<char>(type), sent[read]);
    tarn::push_back(channel_, type);
    ASSERT_TRUE(tarn::read_type(channel_, type)); /* once more, and then what follows it */
    EXPECT_EQ(static_cast<char>(type), sent[read++]);
    ASSERT_TRUE(tarn::skip_bytes(channel_, buffer + 77));
    read += buffer + 77;
    tarn::Owned<char> block;
    ASSERT_EQ(tarn::read_block(channel_, 100, block), TRN_OK);
    EXPECT_EQ(block.get(), sent.substr(read, 100));
    ASSERT_TRUE(tarn::skip_bytes(channel_, sent.size() - read - 100));
    sender.join();
}

INSTANTIATE_TEST_SUITE_P(channels, transfer, testing::Bool());

} // namespace
