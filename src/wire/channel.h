// A channel to the server: the socket, the two ciphers of an encrypted one, the two buffers and a pushed-back
// message type. receive.h and send.h read and write through it. The lock is the connection's; nothing here
// locks.
//
// Bytes received and not yet read are in recv_buf from recv_pos to recv_fill, decrypted. A receive that fails
// closes the channel at once, so that no later read can land in the middle of a message or in the late answer
// to another request. Reads and writes on a closed channel fail.
#pragma once

#include <cstddef>
#include <cstdint>

#include "crypto/turing.h"
#include "platform/platform.h"
#include "wire/message_type.h"

namespace tarn {

inline constexpr size_t recv_buffer_size = 65536; // the most that is unread
inline constexpr size_t cache_line = 64;
inline constexpr size_t send_buffer_size = 8192;

// How a channel is opened and how long it waits.
struct ChannelOptions {
    int32_t connect_timeout_ms; // for the connection, and for every answer of the login; 0: no limit
    int32_t receive_timeout_ms;
    bool one_wait; // a receive that times out is not repeated
    platform::KeepAlive keep_alive;
};

// The call that runs on a channel (cancel.h).
enum class CallState : uint32_t {
    none,
    running,
    cancelled
};

struct Channel {
    platform::Socket sock;    // 0: closed; written atomically: a canceller reads it
    CallState call_state;     // accessed atomically
    int32_t recv_tries;       // on a plain channel
    int32_t error;            // the system's number for a failed open; 0: it took too long, or was cancelled
    TuringState* recv_cipher; // owned; null on a plain channel, like the next
    TuringState* send_cipher;
    MessageType pushed_back; // a message type left to the next reader; or none
    MessageType traced;      // the protocol trace: the message being read, and where in the stream it began
    uint64_t traced_from;
    uint64_t received; // bytes, over the life of the record
    uint32_t recv_pos;
    uint32_t recv_fill;
    uint32_t send_fill;
    uint8_t send_buf[send_buffer_size]; // encrypted as it is filled
    uint8_t recv_buf[recv_buffer_size + cache_line];
};

// Connects, with empty buffers; an open channel is closed first. False leaves it closed. Until the login is
// complete, the connect time-out applies to receives too.
bool open_channel(Channel& channel, uint32_t address, uint16_t port, const ChannelOptions& options) noexcept;

// Sets how long further receives wait.
void set_waits(Channel& channel, const ChannelOptions& options) noexcept;

// Encrypts both directions from now on. False when memory is short.
bool encrypt_channel(Channel& channel, const uint8_t (&key)[turing_key_size]) noexcept;

// Closes the socket and discards the buffers. Closing a closed channel does nothing.
void close_channel(Channel& channel) noexcept;

inline bool is_open(const Channel& channel) noexcept {
    return channel.sock != 0;
}

} // namespace tarn
