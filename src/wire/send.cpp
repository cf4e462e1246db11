#include "wire/send.h"

#include <cstring>

#include <algorithm>

#include "base/bytes.h"
#include "base/memory.h"
#include "crypto/turing.h"
#include "platform/platform.h"

namespace tarn {

// Larger writes do not pass through the buffer.
static constexpr size_t largest_buffered_write = 2048;

static ptrdiff_t send_buffered(Conn& conn) noexcept {
    const size_t fill = static_cast<size_t>(conn.send_fill);
    conn.send_fill = 0;
    return platform::send_some(conn.sock, conn.send_buf, fill);
}

static bool enciphers(const Conn& conn) noexcept {
    return conn.recv_cipher && conn.use_ssl == 1;
}

// The buffer never holds more than 8,191 bytes: a write that would fill it sends what is there first. Bytes are enciphered as
// they enter the buffer, never at the flush; the enciphered way does not report that send.
static ptrdiff_t put_buffered(Conn& conn, const void* data, size_t size) noexcept {
    ptrdiff_t outcome = 0;
    if (static_cast<size_t>(conn.send_fill) + size >= sizeof conn.send_buf) outcome = send_buffered(conn);
    uint8_t* to = conn.send_buf + conn.send_fill;
    std::memcpy(to, data, size);
    conn.send_fill += static_cast<int32_t>(size);
    if (!enciphers(conn)) return outcome;
    apply_keystream(*conn.send_cipher, to, size);
    return 0;
}

// The caller's bytes stay as they are: a copy is enciphered. Where memory is short they go through the buffer in pieces.
static ptrdiff_t send_enciphered(Conn& conn, const uint8_t* data, size_t size) noexcept {
    const Owned<uint8_t> copy(static_cast<uint8_t*>(allocate_zeroed(size)));
    if (!copy) {
        for (size_t done = 0; done < size; done += largest_buffered_write)
            put_buffered(conn, data + done, std::min(size - done, largest_buffered_write));
        return 0;
    }
    std::memcpy(copy.get(), data, size);
    apply_keystream(*conn.send_cipher, copy.get(), size);
    const ptrdiff_t outcome = send_buffered(conn);
    if (outcome != -1) platform::send_some(conn.sock, copy.get(), size);
    return outcome;
}

ptrdiff_t put_bytes(Conn& conn, const void* data, size_t size) noexcept {
    if (size == 0) return 0;
    if (size <= largest_buffered_write) return put_buffered(conn, data, size);
    if (enciphers(conn)) return send_enciphered(conn, static_cast<const uint8_t*>(data), size);
    // Even an empty buffer is sent, as 0 bytes, before a large write: a broken socket is noticed there.
    if (send_buffered(conn) == -1) return -1;
    return platform::send_some(conn.sock, data, size);
}

template <class T> static ptrdiff_t put_wire(Conn& conn, T value) noexcept {
    uint8_t bytes[sizeof value];
    store_wire(bytes, value);
    return put_buffered(conn, bytes, sizeof bytes);
}

ptrdiff_t put_u16(Conn& conn, uint16_t value) noexcept {
    return put_wire(conn, value);
}
ptrdiff_t put_u32(Conn& conn, uint32_t value) noexcept {
    return put_wire(conn, value);
}
ptrdiff_t put_u64(Conn& conn, uint64_t value) noexcept {
    return put_wire(conn, value);
}

int32_t flush_send(Conn& conn) noexcept {
    if (conn.send_fill == 0) return 0;
    return send_buffered(conn) == -1 ? -1 : 0;
}

void put_command(Conn& conn, const char* text, size_t length, uint32_t parameter_word) noexcept {
    put_bytes(conn, "?", 1);
    put_u32(conn, static_cast<uint32_t>(length));
    put_bytes(conn, text, length + 1);
    put_u32(conn, parameter_word);
}

} // namespace tarn
