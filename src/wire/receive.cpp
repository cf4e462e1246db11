#include "wire/receive.h"

#include <algorithm>
#include <utility>

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
    constexpr size_t near_processor = 64 * 1024; // what arrives is deciphered while its caches still hold it
    while (size) {
        const ptrdiff_t received = platform::receive_some(conn.sock, to, std::min(size, near_processor));
        if (received <= 0) return false;
        const size_t step = static_cast<size_t>(received);
        apply_keystream(*conn.recv_cipher, to, step);
        to += step;
        size -= step;
    }
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

namespace {

struct Piece {
    Piece* next;
    char bytes[trusted_size - sizeof(Piece*)];
};

// A large block on its way in. It gets its own memory when all of it is there.
class Pieces {
  public:
    ~Pieces() {
        while (first_)
            release_first();
    }
    // Null when memory is short.
    Piece* add() noexcept {
        Piece* piece = static_cast<Piece*>(allocate_raw(sizeof(Piece)));
        if (!piece) return nullptr;
        piece->next = nullptr;
        (last_ ? last_->next : first_) = piece;
        return last_ = piece;
    }
    void move_to(char* to, size_t size) noexcept {
        for (size_t step; size; to += step, size -= step) {
            step = std::min(size, sizeof first_->bytes);
            std::memcpy(to, first_->bytes, step);
            release_first();
        }
    }

  private:
    void release_first() noexcept { release(std::exchange(first_, first_->next)); }
    Piece* first_ = nullptr;
    Piece* last_ = nullptr;
};

} // namespace

static int32_t pass_over_block(Conn& conn, size_t size) noexcept {
    return skip_bytes(conn, size) ? TRN_ERR_MEMORY : TRN_ERR_NETWORK;
}

static int32_t read_large_block(Conn& conn, size_t size, Owned<char>& block) noexcept {
    Pieces pieces;
    for (size_t left = size, step; left; left -= step) {
        Piece* piece = pieces.add();
        if (!piece) return pass_over_block(conn, left);
        step = std::min(left, sizeof piece->bytes);
        if (!read_bytes(conn, piece->bytes, step)) return TRN_ERR_NETWORK;
    }
    block.reset(static_cast<char*>(allocate_raw(size + 1)));
    if (!block) return TRN_ERR_MEMORY;
    pieces.move_to(block.get(), size);
    block.get()[size] = 0;
    return TRN_OK;
}

int32_t read_block(Conn& conn, size_t size, Owned<char>& block) noexcept {
    block.reset();
    if (size > trusted_size) return read_large_block(conn, size, block);
    Owned<char> small(static_cast<char*>(allocate_raw(size + 1)));
    if (!small) return pass_over_block(conn, size);
    if (!read_bytes(conn, small.get(), size)) return TRN_ERR_NETWORK;
    small.get()[size] = 0;
    block = std::move(small);
    return TRN_OK;
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

} // namespace tarn
