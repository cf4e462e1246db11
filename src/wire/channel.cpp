#include "wire/channel.h"

#include <algorithm>
#include <atomic>
#include <cassert>

#include "base/memory.h"
#include "base/wipe.h"
#include "wire/cancel.h"

namespace tarn {

// Waits in short steps: a connect cannot be woken, so a cancel takes effect at the end of a step.
static bool finish_connect(Channel& channel, int32_t timeout_ms) noexcept {
    constexpr int32_t longest_step_ms = 50;
    const int64_t deadline = platform::monotonic_ms() + timeout_ms;
    while (!is_cancelled(channel)) {
        int64_t left = longest_step_ms;
        if (timeout_ms > 0) left = std::min(left, deadline - platform::monotonic_ms());
        if (left < 0) return false;
        switch (platform::wait_connected(channel.sock, static_cast<int32_t>(left), channel.error)) {
        case platform::Connecting::connected: return true;
        case platform::Connecting::failed: return false;
        case platform::Connecting::waiting: break;
        }
    }
    return false;
}

static int32_t shorter_wait(int32_t a, int32_t b) noexcept {
    return a > 0 && b > 0 ? std::min(a, b) : std::max(a, b);
}

bool open_channel(Channel& channel, uint32_t address, uint16_t port, const ChannelOptions& options) noexcept {
    close_channel(channel);
    channel.error = 0;
    const platform::Socket sock = platform::begin_connect(address, port, options.keep_alive, channel.error);
    std::atomic_ref(channel.sock).store(sock);
    if (!is_open(channel)) return false;
    if (!finish_connect(channel, options.connect_timeout_ms)) {
        close_channel(channel);
        return false;
    }
    ChannelOptions login = options;
    login.receive_timeout_ms = shorter_wait(options.connect_timeout_ms, options.receive_timeout_ms);
    login.one_wait |= options.connect_timeout_ms > 0;
    set_waits(channel, login);
    return true;
}

void set_waits(Channel& channel, const ChannelOptions& options) noexcept {
    constexpr int32_t patient_tries = 3;
    channel.recv_tries = options.one_wait ? 1 : patient_tries;
    if (is_open(channel)) platform::set_receive_timeout(channel.sock, options.receive_timeout_ms);
}

// The same key and keystream for both directions, each with its own position.
bool encrypt_channel(Channel& channel, const uint8_t (&key)[turing_key_size]) noexcept {
    assert(channel.recv_pos == channel.recv_fill && channel.send_fill == 0);
    channel.recv_cipher = allocate_record<TuringState>();
    channel.send_cipher = allocate_record<TuringState>();
    if (!channel.recv_cipher || !channel.send_cipher) return false;
    set_up_keystream(*channel.recv_cipher, key);
    set_up_keystream(*channel.send_cipher, key);
    return true;
}

static void release_cipher(TuringState*& state) noexcept {
    if (state) wipe(state, sizeof *state);
    release(state);
    state = nullptr;
}

void close_channel(Channel& channel) noexcept {
    if (const platform::Socket sock = std::atomic_ref(channel.sock).exchange(0)) {
        wait_for_cancellers();
        platform::close_stream(sock);
    }
    channel.pushed_back = MessageType::none;
    channel.recv_pos = channel.recv_fill = channel.send_fill = 0;
    release_cipher(channel.recv_cipher);
    release_cipher(channel.send_cipher);
}

} // namespace tarn
