#include "wire/send.h"

#include <cstring>

#include <algorithm>

#include "base/bytes.h"
#include "base/memory.h"
#include "crypto/turing.h"
#include "platform/platform.h"
#include "wire/protocol_trace.h"

namespace tarn {

// Larger writes bypass the buffer.
static constexpr size_t largest_buffered_write = 2048;

static ptrdiff_t send_buffered(Channel& channel) noexcept {
    const size_t fill = channel.send_fill;
    channel.send_fill = 0;
    return platform::send_some(channel.sock, channel.send_buf, fill);
}

// The buffer never holds more than 8,191 bytes: a write that would fill it sends what is there first. Bytes
// are encrypted as they enter the buffer, never at the flush; an encrypted channel does not report that send.
static ptrdiff_t put_buffered(Channel& channel, const void* data, size_t size) noexcept {
    ptrdiff_t outcome = 0;
    if (channel.send_fill + size >= sizeof channel.send_buf) outcome = send_buffered(channel);
    uint8_t* to = channel.send_buf + channel.send_fill;
    std::memcpy(to, data, size);
    channel.send_fill += static_cast<uint32_t>(size);
    if (!channel.send_cipher) return outcome;
    apply_keystream(*channel.send_cipher, to, size);
    return 0;
}

// The caller's bytes are not changed: a copy is encrypted. When memory is short they go through the buffer in
// pieces.
static ptrdiff_t send_encrypted(Channel& channel, const uint8_t* data, size_t size) noexcept {
    const Owned<uint8_t> copy(static_cast<uint8_t*>(allocate_zeroed(size)));
    if (!copy) {
        for (size_t done = 0; done < size; done += largest_buffered_write)
            put_buffered(channel, data + done, std::min(size - done, largest_buffered_write));
        return 0;
    }
    std::memcpy(copy.get(), data, size);
    apply_keystream(*channel.send_cipher, copy.get(), size);
    const ptrdiff_t outcome = send_buffered(channel);
    if (outcome != -1) platform::send_some(channel.sock, copy.get(), size);
    return outcome;
}

ptrdiff_t put_bytes(Channel& channel, const void* data, size_t size) noexcept {
    if (size == 0) return 0;
    if (size <= largest_buffered_write) return put_buffered(channel, data, size);
    if (channel.send_cipher) return send_encrypted(channel, static_cast<const uint8_t*>(data), size);
    // Even an empty buffer is sent, as 0 bytes, before a large write: a broken socket is noticed there.
    if (send_buffered(channel) == -1) return -1;
    return platform::send_some(channel.sock, data, size);
}

template <class T> static ptrdiff_t put_wire(Channel& channel, T value) noexcept {
    uint8_t bytes[sizeof value];
    store_wire(bytes, value);
    return put_buffered(channel, bytes, sizeof bytes);
}

ptrdiff_t put_u16(Channel& channel, uint16_t value) noexcept {
    return put_wire(channel, value);
}
ptrdiff_t put_u32(Channel& channel, uint32_t value) noexcept {
    return put_wire(channel, value);
}
ptrdiff_t put_u64(Channel& channel, uint64_t value) noexcept {
    return put_wire(channel, value);
}

int32_t flush_send(Channel& channel) noexcept {
    if (channel.send_fill == 0) return 0;
    return send_buffered(channel) == -1 ? -1 : 0;
}

static void put_type(Channel& channel, MessageType type) noexcept {
    put_bytes(channel, &type, 1);
}

void put_command(Channel& channel, const char* text, size_t length, uint32_t parameter_word) noexcept {
    if (tracing()) [[unlikely]]
        trace_command(channel, text, length, parameter_word);
    put_type(channel, MessageType::command);
    put_u32(channel, static_cast<uint32_t>(length));
    put_bytes(channel, text, length + 1);
    put_u32(channel, parameter_word);
}

void put_more_rows(Channel& channel) noexcept {
    if (tracing()) [[unlikely]]
        trace_event(channel, "> '.' more rows");
    put_type(channel, MessageType::more_rows);
    flush_send(channel);
}

} // namespace tarn
