#include "wire/receive.h"

#include <algorithm>

#include "base/wipe.h"
#include "crypto/turing.h"
#include "platform/platform.h"

namespace tarn {

// One reception into the empty buffer. The server may be slow to answer: a fruitless reception is tried again twice.
static bool fill_buffer(Conn& conn) noexcept {
    constexpr int receptions = 3;
    conn.recv_pos = conn.recv_fill = 0;
    for (int i = 0; i < receptions; ++i) {
        const ptrdiff_t received = platform::receive_some(conn.sock, conn.recv_buf, sizeof conn.recv_buf);
        if (received > 0) {
            conn.recv_fill = static_cast<int32_t>(received);
            return true;
        }
    }
    return false;
}

static bool read_buffered(Conn& conn, uint8_t* to, size_t size) noexcept {
    while (size) {
        if (conn.recv_pos == conn.recv_fill && !fill_buffer(conn)) return false;
        const size_t step = std::min(size, static_cast<size_t>(conn.recv_fill - conn.recv_pos));
        std::memcpy(to, conn.recv_buf + conn.recv_pos, step);
        conn.recv_pos += static_cast<int32_t>(step);
        to += step;
        size -= step;
    }
    return true;
}

// Straight from the socket, exactly what was asked for and nothing ahead of it: a byte is deciphered once, at the position
// at which it is read. Behind the login the keystream lives as long as the socket does.
static bool read_enciphered(Conn& conn, uint8_t* to, size_t size) noexcept {
    for (size_t filled = 0; filled < size;) {
        const ptrdiff_t received = platform::receive_some(conn.sock, to + filled, size - filled);
        if (received <= 0) return false;
        filled += static_cast<size_t>(received);
    }
    apply_keystream(*conn.recv_cipher, to, size);
    return true;
}

// Both ends count a request by its full size, so that a byte given back and read again together with others has used up
// keystream twice. Single-byte reads do not come here: the byte given back is all of them.
static void advance_keystream(TuringState& state) noexcept {
    uint8_t dropped = 0;
    apply_keystream(state, &dropped, 1);
}

bool read_bytes(Conn& conn, void* dest, size_t size) noexcept {
    uint8_t* to = static_cast<uint8_t*>(dest);
    const bool given_back = size && conn.pushed_back_byte;
    if (given_back) {
        *to++ = conn.pushed_back_byte;
        conn.pushed_back_byte = 0;
        --size;
    }
    if (size == 0) return true;
    if (!conn.use_ssl) return read_buffered(conn, to, size);
    if (!read_enciphered(conn, to, size)) return false;
    if (given_back) advance_keystream(*conn.recv_cipher);
    return true;
}

bool skip_bytes(Conn& conn, size_t size) noexcept {
    uint8_t dropped[4096];
    while (size) {
        const size_t step = std::min(size, sizeof dropped);
        if (!read_bytes(conn, dropped, step)) return false;
        size -= step;
    }
    return true;
}

int32_t read_block(Conn& conn, size_t size, Owned<char>& block) noexcept {
    size_t room = std::min(size, trusted_size);
    block.reset(static_cast<char*>(allocate_zeroed(room + 1)));
    for (size_t filled = 0; block;) {
        if (!read_bytes(conn, block.get() + filled, room - filled)) {
            block.reset();
            return TRN_ERR_NETWORK;
        }
        if (room == size) return TRN_OK;
        filled = room;
        room = std::min(size, room + trusted_size);
        void* grown = resize_zeroed(block.get(), filled + 1, room + 1);
        if (!grown) {
            block.reset();
            return skip_bytes(conn, size - filled) ? TRN_ERR_MEMORY : TRN_ERR_NETWORK;
        }
        (void)block.release();
        block.reset(static_cast<char*>(grown));
    }
    return skip_bytes(conn, size) ? TRN_ERR_MEMORY : TRN_ERR_NETWORK;
}

int32_t read_string(Conn& conn, Owned<char>& text) noexcept {
    text.reset();
    int32_t length;
    if (!read_i32(conn, length)) return TRN_ERR_NETWORK;
    if (length < 0) return TRN_ERR_MEMORY;
    return read_block(conn, static_cast<size_t>(length), text);
}

static void release_cipher(TuringState*& state) noexcept {
    if (state) wipe(state, sizeof *state);
    release(state);
    state = nullptr;
}

void break_link(Conn& conn) noexcept {
    platform::close_stream(conn.sock);
    conn.sock = 0;
    conn.recv_pos = conn.recv_fill = conn.send_fill = 0;
    conn.pushed_back_byte = 0;
    conn.reply_rest = ReplyRest::none;
    release_cipher(conn.recv_cipher);
    release_cipher(conn.send_cipher);
}

bool ReceiveWindow::take_slowly(void* dest, size_t size) noexcept {
    close();
    const bool taken = read_bytes(conn_, dest, size);
    open();
    return taken;
}

} // namespace tarn
