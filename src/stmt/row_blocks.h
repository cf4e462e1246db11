// The rows of a batch after the first: staged value by value, and sent in blocks of whole rows.
#pragma once

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "base/memory.h"
#include "base/short_copy.h"
#include "conn/conn.h"

namespace tarn {

inline constexpr size_t value_head_size = 5; // wire type and length

// Where the next value is staged. Kept in a local variable, so that it stays in registers: the compiler must
// assume that staged bytes alias the members of objects.
struct Staging {
    uint8_t *to, *end;
    size_t type_size; // of the wire type before a value: 1, or 0 for older servers

    // There is room for short_run bytes more. The head is stored as one number of eight bytes.
    void put_head(uint16_t wire_type, uint32_t length) noexcept {
        const uint64_t head = uint64_t{wire_type} << 56 | uint64_t{length} << 24;
        store_wire(to, type_size == 1 ? head : head << 8);
        to += type_size + sizeof length;
    }
    void put_type_alone(uint16_t wire_type) noexcept {
        *to = static_cast<uint8_t>(wire_type);
        to += type_size;
    }
    template <class T> void put_number(const uint8_t* bytes) noexcept {
        store_wire(to, load<T>(bytes));
        to += sizeof(T);
    }
    // A short run is copied together with the bytes after it, where those can be read: up to last_run, from
    // which on fewer than short_run bytes can be.
    void put_run(const uint8_t* bytes, size_t size, const uint8_t* last_run) noexcept {
        if (size <= short_run && bytes <= last_run) return put_short_run(bytes, size);
        std::memcpy(to, bytes, size);
        to += size;
    }
    void put_short_run(const uint8_t* bytes, size_t size) noexcept {
        if (size > sizeof(Bytes16))
            copy_short_run(to, bytes);
        else
            store(to, load<Bytes16>(bytes));
        to += size;
    }
};

class RowBlocks {
  public:
    // A block is sent after a row that leaves less than reserve bytes of its size. Allocates memory: ready()
    // tells whether there was enough.
    RowBlocks(Conn& conn, size_t size, size_t reserve) noexcept
        : channel_(conn.channel), type_size_(std::strcmp(conn.protocol_version, "201") != 0 ? 1 : 0),
          block_(static_cast<uint8_t*>(allocate_raw(length_size + size + short_run))), room_(size),
          size_(size), reserve_(reserve), longest_(size - reserve) {}
    bool ready() const noexcept { return block_ != nullptr; }
    size_t type_size() const noexcept { return type_size_; }

    Staging begin() const noexcept { return {rows(), rows() + room_, type_size_}; }

    // Makes room for a value of that size and its head. False when memory is short.
    bool reserve(Staging& at, size_t size) noexcept {
        if (value_head_size + size <= static_cast<size_t>(at.end - at.to)) [[likely]]
            return true;
        return make_room(at, value_head_size + size);
    }

    void end_row(Staging& at) noexcept {
        complete_ = static_cast<size_t>(at.to - rows());
        if (complete_ <= longest_) return;
        send();
        at.to = rows();
    }

    // Sends the complete rows, if any.
    void send() noexcept;

  private:
    bool make_room(Staging& at, size_t size) noexcept;

    static constexpr size_t length_size = sizeof(uint32_t);

    // A block's rows follow its length, so that it is sent in one piece.
    uint8_t* rows() const noexcept { return block_.get() + length_size; }

    Channel& channel_;
    size_t type_size_;
    Owned<uint8_t> block_; // short_run bytes larger than its room for rows
    size_t room_;
    size_t size_, reserve_;
    size_t longest_;      // complete rows of more bytes are sent
    size_t complete_ = 0; // the part that holds whole rows
};

} // namespace tarn
