// Row reception, the heart of the library: a row whose bytes are in the receive buffer is decoded in one pass, fixed values
// straight into their slots, without a call or an allocation of the system's for any field.
#include "result/rows.h"

#include <algorithm>
#include <cstring>

#include "wire/receive.h"

namespace tarn {

namespace {

enum class RowOutcome {
    row,
    no_row, // the next message is no row; its type byte was given back
    network_failure,
    out_of_memory,
};

} // namespace

// Joins a text that arrived between rows to the earlier ones. The joined text is cut to twice the new text's length: the
// earlier text comes first, and what room is left takes the beginning of the new one.
static bool join_text(ResultSet& result, Owned<char> text) noexcept {
    const size_t added = std::strlen(text.get());
    if (added == 0) return true;
    if (!result.head.error_text) {
        set_error_text(result.head, std::move(text));
        return true;
    }
    const size_t room = 2 * added;
    const size_t kept = std::min(std::strlen(result.head.error_text), room);
    Owned<char> joined(static_cast<char*>(allocate_zeroed(room + 1)));
    if (!joined) return false;
    std::memcpy(joined.get(), result.head.error_text, kept);
    std::memcpy(joined.get() + kept, text.get(), std::min(added, room - kept));
    set_error_text(result.head, std::move(joined));
    return true;
}

static RowOutcome read_text_between_rows(ReceiveWindow& window, ResultSet& result) noexcept {
    Owned<char> text;
    const int32_t status = window.through_connection([&](Conn& conn) { return read_string(conn, text); });
    if (status == TRN_ERR_NETWORK) return RowOutcome::network_failure;
    return status == TRN_OK && join_text(result, std::move(text)) ? RowOutcome::row
                                                                  : RowOutcome::out_of_memory;
}

// Reads type bytes until one introduces a row.
static RowOutcome find_row_start(ReceiveWindow& window, ResultSet& result, uint8_t& type) noexcept {
    for (;;) {
        if (!window.take(&type, 1)) return RowOutcome::network_failure;
        switch (type) {
        case 'R':
        case '*': return RowOutcome::row;
        case 'E':
        case 'F':
        case 'M':
        case 'W':
            if (const RowOutcome outcome = read_text_between_rows(window, result); outcome != RowOutcome::row)
                return outcome;
            break;
        default: push_back(*result.conn, type); return RowOutcome::no_row;
        }
    }
}

static bool take_row_identifier(ReceiveWindow& window, uint8_t* row) noexcept {
    uint32_t length;
    if (!window.take_wire(length)) return false;
    if (static_cast<int32_t>(length) < 0)
        return window.through_connection([](Conn& conn) {
            break_link(conn); // a row without its end cannot be passed over
            return false;
        });
    const size_t kept = std::min(size_t{length}, size_t{row_identifier_size});
    if (!window.take(row + row_identifier_offset, kept)) return false;
    return length == kept ||
           window.through_connection([&](Conn& conn) { return skip_bytes(conn, length - kept); });
}

template <class T> static bool take_fixed(ReceiveWindow& window, uint8_t* slot) noexcept {
    T value;
    if (!window.take_wire(value)) return false;
    store(slot, value);
    return true;
}

static RowOutcome take_huge_value(ReceiveWindow& window, RowPool& pool, uint32_t length,
                                  uint8_t*& bytes) noexcept {
    Owned<char> block;
    const int32_t status =
        window.through_connection([&](Conn& conn) { return read_block(conn, length, block); });
    if (status == TRN_ERR_NETWORK) return RowOutcome::network_failure;
    bytes = reinterpret_cast<uint8_t*>(block.get());
    if (status != TRN_OK || !adopt_block(pool, bytes)) return RowOutcome::out_of_memory;
    (void)block.release();
    return RowOutcome::row;
}

static RowOutcome take_held(ReceiveWindow& window, RowPool& pool, uint32_t length, uint8_t* slot) noexcept {
    uint8_t* bytes = nullptr;
    if (length <= trusted_size) [[likely]] {
        bytes = take_block(pool, length);
        if (!bytes) return RowOutcome::out_of_memory;
        if (!window.take(bytes, length)) return RowOutcome::network_failure;
        bytes[length] = 0;
    } else if (const RowOutcome outcome = take_huge_value(window, pool, length, bytes);
               outcome != RowOutcome::row) {
        return outcome;
    }
    store(slot, length);
    store(slot + held_pointer_offset, bytes);
    return RowOutcome::row;
}

// A fixed value takes its own width off the stream whatever its length says; a length below 1 is a null.
static RowOutcome take_values(ReceiveWindow& window, const ResultSet& result, uint8_t* data) noexcept {
    const ColumnDesc* const end = result.columns + result.column_count;
    for (const ColumnDesc* column = result.columns; column != end; ++column) {
        uint32_t length;
        if (!window.take_wire(length)) return RowOutcome::network_failure;
        if (static_cast<int32_t>(length) < 1) continue;
        uint8_t* slot = data + column->offset;
        bool taken;
        switch (column->slot_size) {
        case 1: taken = window.take(slot, 1); break;
        case 2: taken = take_fixed<uint16_t>(window, slot); break;
        case 4: taken = take_fixed<uint32_t>(window, slot); break;
        case 8: taken = take_fixed<uint64_t>(window, slot); break;
        default:
            if (const RowOutcome outcome = take_held(window, *result.pool, length, slot);
                outcome != RowOutcome::row)
                return outcome;
            taken = true;
        }
        if (!taken) return RowOutcome::network_failure;
        data[column->null_offset] ^= column->null_bit;
    }
    return RowOutcome::row;
}

static RowOutcome read_row(ReceiveWindow& window, ResultSet& result, uint8_t*& row) noexcept {
    uint8_t type;
    if (const RowOutcome outcome = find_row_start(window, result, type); outcome != RowOutcome::row)
        return outcome;
    if (!result.pool) result.pool = create_pool();
    row = result.pool ? take_block(*result.pool, static_cast<size_t>(result.row_size)) : nullptr;
    if (!row) return RowOutcome::out_of_memory;
    uint8_t* data = row + row_header_size;
    std::memset(data, 0xFF, static_cast<size_t>(bitmap_size(result.column_count)));
    if (type == '*' && !take_row_identifier(window, row)) return RowOutcome::network_failure;
    return take_values(window, result, data);
}

static int32_t status_of(RowOutcome outcome) noexcept {
    switch (outcome) {
    case RowOutcome::network_failure: return TRN_ERR_NETWORK;
    case RowOutcome::out_of_memory: return TRN_ERR_MEMORY;
    default: return TRN_OK;
    }
}

static RowBatch read_batch(Conn& conn, ResultSet& result, int32_t limit) noexcept {
    ReceiveWindow window(conn);
    for (RowBatch batch{};; ++batch.stored) {
        if (batch.stored == limit) return batch;
        uint8_t* row;
        const RowOutcome outcome = read_row(window, result, row);
        batch.status = outcome == RowOutcome::row ? append_row(result, row) : status_of(outcome);
        if (outcome != RowOutcome::row || batch.status != TRN_OK) return batch;
    }
}

RowBatch read_rows(Conn& conn, ResultSet& result, int32_t limit) noexcept {
    const RowBatch batch = read_batch(conn, result, limit);
    // What is left of the row, or of the rows beyond the limit, can no longer be told from the messages behind it.
    if (batch.status == TRN_ERR_MEMORY || batch.status == TRN_ERR_SERVER) break_link(conn);
    return batch;
}

} // namespace tarn
