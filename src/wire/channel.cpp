#include "wire/channel.h"

#include <cassert>

#include "base/memory.h"
#include "base/wipe.h"

namespace tarn {

bool open_channel(Channel& channel, uint32_t address, uint16_t port, int32_t recv_timeout_ms) noexcept {
    close_channel(channel);
    channel.sock = platform::connect_stream(address, port, recv_timeout_ms);
    return is_open(channel);
}

// One key and one keystream for both directions, each with a position of its own.
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
    platform::close_stream(channel.sock);
    channel.sock = 0;
    channel.pushed_back = MessageType::none;
    channel.recv_pos = channel.recv_fill = channel.send_fill = 0;
    release_cipher(channel.recv_cipher);
    release_cipher(channel.send_cipher);
}

} // namespace tarn
