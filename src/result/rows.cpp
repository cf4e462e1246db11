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

static RowOutcome read_text_between_rows(Conn& conn, ResultSet& result) noexcept {
    Owned<char> text;
    const int32_t status = read_string(conn, text);
    if (status == TRN_ERR_NETWORK) return RowOutcome::network_failure;
    return status == TRN_OK && join_text(result, std::move(text)) ? RowOutcome::row
                                                                  : RowOutcome::out_of_memory;
}

// Reads type bytes until one introduces a row.
static RowOutcome find_row_start(ReceiveWindow& window, ResultSet& result, int& type) noexcept {
    for (;;) {
        type = window.take_u8();
        if (type == 'R' || type == '*') [[likely]]
            return RowOutcome::row;
        switch (type) {
        case -1: return RowOutcome::network_failure;
        case 'E':
        case 'F':
        case 'M':
        case 'W':
            if (const RowOutcome outcome = window.through_connection(
                    [&](Conn& conn) { return read_text_between_rows(conn, result); });
                outcome != RowOutcome::row)
                return outcome;
            break;
        default: push_back(*result.conn, static_cast<uint8_t>(type)); return RowOutcome::no_row;
        }
    }
}

static bool pass_over_identifier(Conn& conn) noexcept {
    int32_t length;
    if (!read_i32(conn, length)) return false;
    if (length >= 0) return skip_bytes(conn, static_cast<size_t>(length));
    break_link(conn); // a row without its end cannot be passed over
    return false;
}

static void store_held(uint8_t* slot, uint32_t length, uint8_t* bytes) noexcept {
    store(slot, length);
    store(slot + held_pointer_offset, bytes);
}

static RowOutcome read_huge_value(Conn& conn, RowPool& pool, uint32_t length, uint8_t* slot) noexcept {
    Owned<char> block;
    const int32_t status = read_block(conn, length, block);
    if (status == TRN_ERR_NETWORK) return RowOutcome::network_failure;
    uint8_t* bytes = reinterpret_cast<uint8_t*>(block.get());
    if (status != TRN_OK || !adopt_block(pool, bytes)) return RowOutcome::out_of_memory;
    (void)block.release();
    store_held(slot, length, bytes);
    return RowOutcome::row;
}

static RowOutcome take_held(ReceiveWindow& window, RowPool& pool, uint32_t length, uint8_t* slot) noexcept {
    if (length > trusted_size) [[unlikely]]
        return window.through_connection(
            [&](Conn& conn) { return read_huge_value(conn, pool, length, slot); });
    uint8_t* bytes = take_block(pool, length);
    if (!bytes) return RowOutcome::out_of_memory;
    if (!window.take_short(bytes, length)) return RowOutcome::network_failure;
    bytes[length] = 0;
    store_held(slot, length, bytes);
    return RowOutcome::row;
}

static RowOutcome taken(bool success) noexcept {
    return success ? RowOutcome::row : RowOutcome::network_failure;
}

// A fixed value takes its own width off the stream whatever its length says.
static RowOutcome take_value(ReceiveWindow& window, const ResultSet& result, int32_t slot_size,
                             uint32_t length, uint8_t* slot) noexcept {
    switch (slot_size) {
    case 1: return taken(window.take_fixed<uint8_t>(slot));
    case 2: return taken(window.take_fixed<uint16_t>(slot));
    case 4: return taken(window.take_fixed<uint32_t>(slot));
    case 8: return taken(window.take_fixed<uint64_t>(slot));
    default: return take_held(window, *result.pool, length, slot);
    }
}

// A length below 1 is a null.
static RowOutcome take_values(ReceiveWindow& window, const ResultSet& result, uint8_t* row) noexcept {
    const Slot* const end = result.slots + result.column_count;
    for (const Slot* slot = result.slots; slot != end; ++slot) {
        const int64_t length = window.take_length();
        if (length < 1) {
            if (length == ReceiveWindow::stream_ended) return RowOutcome::network_failure;
            row[slot->null_offset] |= slot->null_bit;
            continue;
        }
        const RowOutcome outcome =
            take_value(window, result, slot->size, static_cast<uint32_t>(length), row + slot->offset);
        if (outcome != RowOutcome::row) [[unlikely]]
            return outcome;
    }
    return RowOutcome::row;
}

static RowOutcome read_row(ReceiveWindow& window, ResultSet& result, uint8_t*& row) noexcept {
    int type;
    if (const RowOutcome outcome = find_row_start(window, result, type); outcome != RowOutcome::row)
        return outcome;
    if (!result.pool) result.pool = create_pool();
    row = result.pool ? take_block(*result.pool, static_cast<size_t>(result.row_size)) : nullptr;
    if (!row) return RowOutcome::out_of_memory;
    if (type == '*' && !window.through_connection(pass_over_identifier)) return RowOutcome::network_failure;
    store(row, uint64_t{0}); // the bitmap of up to 64 columns
    if (const size_t size = bitmap_size(result.column_count); size > sizeof(uint64_t))
        std::memset(row, 0, size);
    return take_values(window, result, row);
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
