#include "wire/receive.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "wire/cancel.h"
#include "wire/protocol_trace.h"

namespace tarn {

// Receives at least one byte, and decrypts. The server may be slow: a receive that times out is repeated, but
// not on an encrypted channel. This is the only place that detects a broken channel.
static size_t receive_into(Channel& channel, uint8_t* to, size_t size) noexcept {
    const int32_t tries = channel.recv_cipher ? 1 : channel.recv_tries;
    for (int32_t i = 0; i < tries && !is_cancelled(channel); ++i) {
        const ptrdiff_t received = platform::receive_some(channel.sock, to, size);
        if (received <= 0) continue;
        channel.received += static_cast<uint64_t>(received);
        if (channel.recv_cipher) apply_keystream(*channel.recv_cipher, to, static_cast<size_t>(received));
        return static_cast<size_t>(received);
    }
    close_channel(channel);
    return 0;
}

// Receives to the beginning of a cache line: many processors copy several times slower to other places.
bool receive_more(Channel& channel) noexcept {
    const size_t kept = unread_size(channel);
    assert(kept < recv_buffer_size);
    const size_t front = -(reinterpret_cast<uintptr_t>(channel.recv_buf) + kept) % cache_line;
    uint8_t* to = channel.recv_buf + front;
    std::memmove(to, unread(channel), kept);
    const size_t received = receive_into(channel, to + kept, recv_buffer_size - kept);
    if (!received) return false;
    channel.recv_pos = static_cast<uint32_t>(front);
    channel.recv_fill = static_cast<uint32_t>(front + kept + received);
    return true;
}

static size_t take_buffered(Channel& channel, uint8_t* to, size_t most) noexcept {
    const size_t size = std::min(most, unread_size(channel));
    if (size) std::memcpy(to, unread(channel), size);
    take(channel, size);
    return size;
}

// Anything larger than the buffer goes straight to its destination, in steps that are decrypted while still
// in the cache.
static size_t receive_directly(Channel& channel, uint8_t* to, size_t size) noexcept {
    constexpr size_t decrypted_at_once = 64 * 1024;
    return receive_into(channel, to, channel.recv_cipher ? std::min(size, decrypted_at_once) : size);
}

bool read_bytes(Channel& channel, void* dest, size_t size) noexcept {
    assert(channel.pushed_back == MessageType::none);
    uint8_t* to = static_cast<uint8_t*>(dest);
    for (;;) {
        const size_t buffered = take_buffered(channel, to, size);
        to += buffered;
        size -= buffered;
        if (size == 0) return true;
        if (size < recv_buffer_size) {
            if (!receive_more(channel)) return false;
            continue;
        }
        const size_t received = receive_directly(channel, to, size);
        if (!received) return false;
        to += received;
        size -= received;
    }
}

bool skip_bytes(Channel& channel, size_t size) noexcept {
    assert(channel.pushed_back == MessageType::none);
    for (;;) {
        const size_t step = std::min(size, unread_size(channel));
        take(channel, step);
        size -= step;
        if (size == 0) return true;
        if (!receive_more(channel)) return false;
    }
}

bool read_type(Channel& channel, MessageType& type) noexcept {
    type = std::exchange(channel.pushed_back, MessageType::none);
    if (type != MessageType::none) return true;
    if (!read_bytes(channel, &type, 1)) return false;
    if (tracing()) [[unlikely]]
        trace_message(channel, type);
    return true;
}

static int32_t skip_block(Channel& channel, size_t size) noexcept {
    return skip_bytes(channel, size) ? TRN_ERR_MEMORY : TRN_ERR_NETWORK;
}

int32_t read_block(Channel& channel, size_t size, Owned<char>& block) noexcept {
    block.reset();
    Owned<char> growing;
    size_t filled = 0;
    do {
        const size_t room = std::min(size, std::max(trusted_size, 2 * filled));
        if (!resize(growing, room + 1)) return skip_block(channel, size - filled);
        if (!read_bytes(channel, growing.get() + filled, room - filled)) return TRN_ERR_NETWORK;
        filled = room;
    } while (filled < size);
    growing.get()[size] = 0;
    block = std::move(growing);
    return TRN_OK;
}

int32_t read_string(Channel& channel, Owned<char>& text) noexcept {
    text.reset();
    int32_t length;
    if (!read_i32(channel, length)) return TRN_ERR_NETWORK;
    if (length < 0) return TRN_ERR_MEMORY;
    return read_block(channel, static_cast<size_t>(length), text);
}

} // namespace tarn
