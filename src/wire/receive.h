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
// close only the window's own functions may read from the connection.
class ReceiveWindow {
  public:
    explicit ReceiveWindow(Conn& conn) noexcept : conn_(conn) { open(); }
    ~ReceiveWindow() { close(); }
    ReceiveWindow(const ReceiveWindow&) = delete;
    ReceiveWindow& operator=(const ReceiveWindow&) = delete;

    bool take(void* dest, size_t size) noexcept {
        if (buffered() >= size) [[likely]] {
            std::memcpy(dest, pos_, size);
            pos_ += size;
            return true;
        }
        return take_slowly(dest, size);
    }

    template <class T> bool take_wire(T& value) noexcept {
        T raw;
        if (!take(&raw, sizeof raw)) return false;
        value = wire_order(raw);
        return true;
    }

    // Runs a read that needs the connection itself.
    template <class Read> auto through_connection(Read read) noexcept {
        close();
        const auto outcome = read(conn_);
        open();
        return outcome;
    }

  private:
    size_t buffered() const noexcept { return static_cast<size_t>(end_ - pos_); }
    // A byte that was given back comes before the buffer: the window is empty until it has been read.
    void open() noexcept {
        const int32_t end = conn_.pushed_back_byte ? conn_.recv_pos : conn_.recv_fill;
        pos_ = conn_.recv_buf + conn_.recv_pos;
        end_ = conn_.recv_buf + end;
    }
    void close() noexcept { conn_.recv_pos = static_cast<int32_t>(pos_ - conn_.recv_buf); }
    bool take_slowly(void* dest, size_t size) noexcept;

    Conn& conn_;
    const uint8_t* pos_;
    const uint8_t* end_;
};

} // namespace tarn
