// Receiving: message types, integers, runs of bytes and texts out of a channel. Integers are big-endian on
// the wire.
//
// A read fails when the stream ends, breaks, or stays silent: three receives in a row without a byte on a
// plain channel, one on an encrypted one. The channel is then closed; nothing is printed and no error text is
// set.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/memory.h"
#include "tarnsql.h"
#include "wire/channel.h"

namespace tarn {

// Fills dest with exactly size bytes.
bool read_bytes(Channel& channel, void* dest, size_t size) noexcept;

bool skip_bytes(Channel& channel, size_t size) noexcept;

// Reads the message type that was pushed back, or else the next byte.
bool read_type(Channel& channel, MessageType& type) noexcept;

// Pushes a message type back for the next read_type. A byte of 0 cannot be pushed back and is lost.
//
// A server counts a byte that is pushed back, and then read together with others, twice in its keystream.
// That cannot happen here: only single message types are pushed back and read again, and every other read
// asserts that none is waiting.
inline void push_back(Channel& channel, MessageType type) noexcept {
    channel.pushed_back = type;
}

template <class T> bool read_wire(Channel& channel, T& value) noexcept {
    T raw;
    if (!read_bytes(channel, &raw, sizeof raw)) return false;
    value = wire_order(raw);
    return true;
}

inline bool read_u32(Channel& channel, uint32_t& value) noexcept {
    return read_wire(channel, value);
}

inline bool read_i32(Channel& channel, int32_t& value) noexcept {
    uint32_t raw;
    if (!read_u32(channel, raw)) return false;
    value = static_cast<int32_t>(raw);
    return true;
}

// Largest allocation made on a length field alone; a larger block grows as its bytes arrive.
inline constexpr size_t trusted_size = 1024 * 1024;

// Reads size bytes into a fresh block of size + 1 bytes, zero-terminated. TRN_OK, TRN_ERR_NETWORK, or
// TRN_ERR_MEMORY with the bytes skipped.
int32_t read_block(Channel& channel, size_t size, Owned<char>& block) noexcept;

// Reads a wire string: a 32-bit length and its bytes. TRN_OK, TRN_ERR_NETWORK, or TRN_ERR_MEMORY when memory
// is short or the length is negative; the stream is still in step then.
int32_t read_string(Channel& channel, Owned<char>& text) noexcept;

// The bytes received and not yet read, for readers that look ahead.
inline uint8_t* unread(Channel& channel) noexcept {
    assert(channel.pushed_back == MessageType::none);
    return channel.recv_buf + channel.recv_pos;
}
inline size_t unread_size(const Channel& channel) noexcept {
    return channel.recv_fill - channel.recv_pos;
}
inline void take(Channel& channel, size_t size) noexcept {
    assert(size <= unread_size(channel));
    channel.recv_pos += static_cast<uint32_t>(size);
}

// Receives more after the unread bytes, which are first moved to the front of the buffer; they must not fill
// it.
bool receive_more(Channel& channel) noexcept;

} // namespace tarn
