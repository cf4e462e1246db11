/*
 * The replaying peer; see the header.
 */
#include "replay_peer.h"

#include "encrypted_channel.h"

#include <algorithm>

namespace test_support {

namespace {

using namespace std::chrono_literals;

/* Exactly so many bytes, fewer when the client goes away. */
std::string take(socket_handle client, std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t filled = 0;
    while (filled < count && wait_readable(client, idle_limit)) {
        const long received = receive_some(client, bytes.data() + filled, count - filled);
        if (received <= 0) break;
        filled += static_cast<std::size_t>(received);
    }
    bytes.resize(filled);
    return bytes;
}

/* Sends the public numbers, as far as there are any, and encrypts the rest with the client's session key. */
std::string agree_on_key(socket_handle client, std::string bytes) {
    const std::size_t numbers = std::min(bytes.size(), public_numbers().size());
    take(client, 5);
    send_all(client, std::string_view(bytes).substr(0, numbers));
    bytes.erase(0, numbers);
    if (bytes.empty()) return bytes;
    std::string key = decrypt_blocks(take(client, cipher_block_size));
    key.resize(cipher_block_size);
    return keystream(key)(std::move(bytes));
}

void play(socket_handle client, const Recording& recording) {
    wait_readable(client, idle_limit); /* every client speaks first */
    const std::string bytes =
        recording.key_agreement ? agree_on_key(client, recording.bytes) : recording.bytes;
    std::string_view left = bytes;
    while (!left.empty() && send_all(client, left.substr(0, recording.piece)))
        left.remove_prefix(std::min(left.size(), recording.piece));
    if (recording.ending == Ending::reset) return reset_socket(client);
    end_sending(client);
    char swallowed[16384];
    while (wait_readable(client, idle_limit) && receive_some(client, swallowed, sizeof swallowed) > 0) {
    }
    close_socket(client);
}

} // namespace

ReplayPeer::~ReplayPeer() {
    ended_ = true;
    thread_.join();
    close_socket(listener_);
}

void ReplayPeer::serve(Recording recording) {
    const std::lock_guard lock(mutex_);
    recording_ = std::move(recording);
}

void ReplayPeer::work() {
    constexpr auto accept_slice = 20ms; /* how soon it notices that the test is over */
    while (!ended_) {
        if (!wait_readable(listener_, accept_slice)) continue;
        const socket_handle client = accept_client(listener_);
        if (client == no_socket) continue;
        std::unique_lock lock(mutex_);
        const Recording recording = recording_;
        lock.unlock();
        play(client, recording);
    }
}

} // namespace test_support
