// Receiving: every byte from the server passes through read_bytes: out of the connection's receive buffer on a plain channel,
// straight from the socket and deciphered on an enciphered one. The typed reads and the receive window serve what is
// buffered without a call.
//
// All reads need the connection's lock. A read that fails has used up what the stream still gave; nothing is set or printed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/memory.h"
#include "conn/conn.h"

namespace tarn {

// Fills dest with exactly size bytes. False when the stream ended, broke or timed out: three fruitless receptions in a row
// on a plain channel, the first one on an enciphered one.
bool read_bytes(Conn& conn, void* dest, size_t size) noexcept;

bool skip_bytes(Conn& conn, size_t size) noexcept;

inline bool read_u8(Conn& conn, uint8_t& value) noexcept {
    return read_bytes(conn, &value, 1);
}

template <class T> bool read_wire(Conn& conn, T& value) noexcept {
    T raw;
    if (!read_bytes(conn, &raw, sizeof raw)) return false;
    value = wire_order(raw);
    return true;
}

inline bool read_u32(Conn& conn, uint32_t& value) noexcept {
    return read_wire(conn, value);
}

inline bool read_i32(Conn& conn, int32_t& value) noexcept {
    uint32_t raw;
    if (!read_u32(conn, raw)) return false;
    value = static_cast<int32_t>(raw);
    return true;
}

// Gives one type byte back: the next read returns it first. A byte of 0 cannot be given back and is lost.
inline void push_back(Conn& conn, uint8_t byte) noexcept {
    conn.pushed_back_byte = byte;
}

// What a length alone is trusted with: the memory of a larger block is taken as its bytes arrive.
inline constexpr size_t trusted_size = 1024 * 1024;

// Reads size bytes into a fresh block of size + 1 bytes, zero-terminated. Gives 0, or TRN_ERR_NETWORK, or TRN_ERR_MEMORY with the bytes passed over.
int32_t read_block(Conn& conn, size_t size, Owned<char>& block) noexcept;

// Reads a wire string: a 32-bit length and its bytes. Gives 0, TRN_ERR_NETWORK, or TRN_ERR_MEMORY when memory is short or
// the length is negative; the stream is then still in step.
int32_t read_string(Conn& conn, Owned<char>& text) noexcept;

// Closes the socket, if one is open, and forgets everything that belongs to its stream: later reads and writes fail. Also the
// way out when the stream is out of step and the middle of a message would be taken for its beginning.
void break_link(Conn& conn) noexcept;

// The buffered bytes of a connection, from which many small values are taken without a call. Between open and
// close only the window's own functions may read from the connection. Its address is given to nobody, so that it lives in
// registers: what it cannot serve itself is read through the connection.
class ReceiveWindow {
  public:
    explicit ReceiveWindow(Conn& conn) noexcept : conn_(conn) { open(); }
    ~ReceiveWindow() { close(); }
    ReceiveWindow(const ReceiveWindow&) = delete;
    ReceiveWindow& operator=(const ReceiveWindow&) = delete;

    // Runs a read that needs the connection itself.
    template <class Read> auto through_connection(Read read) noexcept {
        close();
        const auto outcome = read(conn_);
        open();
        return outcome;
    }

    bool take(void* dest, size_t size) noexcept {
        if (!holds(size)) [[unlikely]]
            return through_connection([=](Conn& conn) { return read_bytes(conn, dest, size); });
        std::memcpy(dest, pass(size), size);
        return true;
    }

    // The same where short_run bytes may be written, however few are taken.
    bool take_short(uint8_t* dest, size_t size) noexcept {
        if (size > short_run || !holds(short_run)) return take(dest, size);
        copy_short_run(dest, pass(size));
        return true;
    }

    // A byte; -1 when the stream ended.
    int take_u8() noexcept {
        if (!holds(1)) [[unlikely]]
            return through_connection([](Conn& conn) {
                uint8_t byte;
                return read_u8(conn, byte) ? int{byte} : -1;
            });
        return *pass(1);
    }

    // A 32-bit length, which may be negative; stream_ended, which is below every length.
    int64_t take_length() noexcept {
        if (!holds(sizeof(uint32_t))) [[unlikely]]
            return through_connection([](Conn& conn) {
                int32_t length;
                return read_i32(conn, length) ? int64_t{length} : stream_ended;
            });
        return static_cast<int32_t>(load_wire<uint32_t>(pass(sizeof(uint32_t))));
    }
    static constexpr int64_t stream_ended = INT64_MIN;

    // Stores a fixed value in host order; dest need not be aligned.
    template <class T> bool take_fixed(uint8_t* dest) noexcept {
        if (!holds(sizeof(T))) [[unlikely]]
            return through_connection([=](Conn& conn) {
                if (!read_bytes(conn, dest, sizeof(T))) return false;
                store(dest, load_wire<T>(dest));
                return true;
            });
        store(dest, load_wire<T>(pass(sizeof(T))));
        return true;
    }

  private:
    bool holds(size_t size) const noexcept { return next_ + static_cast<ptrdiff_t>(size) <= 0; }
    const uint8_t* pass(size_t size) noexcept {
        next_ += static_cast<ptrdiff_t>(size);
        return end_ + next_ - size;
    }
    // A byte that was given back comes before the buffer: the window is empty until it has been read.
    void open() noexcept {
        const int32_t end = conn_.pushed_back_byte ? conn_.recv_pos : conn_.recv_fill;
        end_ = conn_.recv_buf + end;
        next_ = conn_.recv_pos - end;
    }
    void close() noexcept { conn_.recv_pos = static_cast<int32_t>(end_ + next_ - conn_.recv_buf); }

    Conn& conn_;
    const uint8_t* end_;
    ptrdiff_t next_; // where the next byte is, counted from the end: the same number tells how many are left
};

} // namespace tarn
