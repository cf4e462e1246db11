#include "wire/receive.h"

#include <algorithm>

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

bool read_bytes(Conn& conn, void* dest, size_t size) noexcept {
    uint8_t* to = static_cast<uint8_t*>(dest);
    if (size && conn.pushed_back_byte) {
        *to++ = conn.pushed_back_byte;
        conn.pushed_back_byte = 0;
        --size;
    }
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

bool skip_bytes(Conn& conn, size_t size) noexcept {
    uint8_t dropped[256];
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
        room = std::min(size, room * 2);
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

void break_link(Conn& conn) noexcept {
    platform::close_stream(conn.sock);
    conn.sock = 0;
    conn.recv_pos = conn.recv_fill = conn.send_fill = 0;
    conn.pushed_back_byte = 0;
    conn.reply_rest = ReplyRest::none;
}

bool ReceiveWindow::take_slowly(void* dest, size_t size) noexcept {
    close();
    const bool taken = read_bytes(conn_, dest, size);
    open();
    return taken;
}

} // namespace tarn
