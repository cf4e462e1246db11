// Receiving rows, the hot path of the library: a walk over the lengths in the receive buffer finds where rows
// end, and whole runs of rows are copied into the result. Values are not decoded.
#include "reply/rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "conn/call.h"
#include "conn/messages.h"
#include "reply/value_size.h"
#include "wire/receive.h"

namespace tarn {

namespace {

enum class RowOutcome {
    row,
    no_row, // the next message is no row; its type was pushed back
    network_failure,
    out_of_memory,
    limit,
};

// A walk over the columns of a row that may not have arrived completely: it can be resumed.
struct RowWalk {
    const Column* column; // the next one
    size_t offset;        // of the next column, or of the row's end

    // True when the row has arrived completely.
    bool go_on(const Column* end, const uint8_t* bytes, size_t arrived) noexcept {
        const ptrdiff_t last_length = static_cast<ptrdiff_t>(arrived) - static_cast<ptrdiff_t>(length_size);
        for (; column != end; ++column) {
            if (static_cast<ptrdiff_t>(offset) > last_length) return false;
            const int32_t length = value_length(bytes + offset);
            offset += length_size;
            if (length < 1) continue;
            offset += content_size(*column, length);
        }
        return offset <= arrived;
    }
};

} // namespace

static bool store_run(ResultSet& result, const uint8_t* first, const uint8_t* end) noexcept {
    return first == end || store_short_rows(result.rows, first, static_cast<size_t>(end - first));
}

// Stores the rows that are complete in the receive buffer, up to limit. The head of a short row replaces its
// message type; runs of short rows are copied in one piece.
static int32_t store_rows_at_hand(Channel& channel, ResultSet& result, int64_t limit, bool& stored) noexcept {
    constexpr size_t longest_run = 4096; // still in the L1 cache when it is copied
    uint8_t* const bytes = unread(channel);
    const size_t arrived = unread_size(channel);
    const Column *const columns = result.columns, *const columns_end = columns + result.column_count;
    size_t run = 0, row = 0;
    int32_t count = 0;
    stored = true;
    for (; count < limit && row < arrived && bytes[row] == static_cast<uint8_t>(MessageType::row) && stored;
         ++count) {
        RowWalk walk{columns, row + 1};
        if (!walk.go_on(columns_end, bytes, arrived)) break;
        const size_t size = walk.offset - row;
        if (size > longest_short_row) {
            stored = store_run(result, bytes + run, bytes + row) &&
                     store_row(result.rows, bytes + row + 1, size - 1);
            run = walk.offset;
        } else {
            bytes[row] = static_cast<uint8_t>(size);
            if (walk.offset - run > longest_run)
                stored = store_run(result, bytes + std::exchange(run, walk.offset), bytes + walk.offset);
        }
        row = walk.offset;
    }
    take(channel, row);
    stored = stored && store_run(result, bytes + run, bytes + row);
    return count;
}

// Appends a text that arrived between rows to the earlier ones. The result is cut to twice the length of the
// new text: first the earlier text, then as much of the new one as fits.
static bool join_text(ResultSet& result, Owned<char> text) noexcept {
    const size_t added = std::strlen(text.get());
    if (added == 0) return true;
    if (!result.head.error_text) {
        set_error_text(result.head, std::move(text));
        return true;
    }
    const size_t room = 2 * added;
    const size_t kept = std::min(std::strlen(result.head.error_text), room);
    const size_t taken = std::min(added, room - kept);
    Owned<char> joined(static_cast<char*>(allocate_zeroed(kept + taken + 1)));
    if (!joined) return false;
    std::memcpy(joined.get(), result.head.error_text, kept);
    std::memcpy(joined.get() + kept, text.get(), taken);
    set_error_text(result.head, std::move(joined));
    return true;
}

static RowOutcome read_text_between_rows(Channel& channel, ResultSet& result) noexcept {
    Owned<char> text;
    const int32_t status = read_string(channel, text);
    if (status == TRN_ERR_NETWORK) return RowOutcome::network_failure;
    return status == TRN_OK && join_text(result, std::move(text)) ? RowOutcome::row
                                                                  : RowOutcome::out_of_memory;
}

// The row identifier is not used.
static RowOutcome skip_identifier(Channel& channel) noexcept {
    int32_t length;
    if (!read_i32(channel, length)) return RowOutcome::network_failure;
    if (length >= 0)
        return skip_bytes(channel, static_cast<size_t>(length)) ? RowOutcome::row
                                                                : RowOutcome::network_failure;
    close_channel(channel); // the row after it cannot be found
    return RowOutcome::network_failure;
}

// Reads up to where the columns of the next row begin.
static RowOutcome find_row(Channel& channel, ResultSet& result) noexcept {
    for (;;) {
        MessageType type;
        if (!read_type(channel, type)) return RowOutcome::network_failure;
        switch (type) {
        case MessageType::row: return RowOutcome::row;
        case MessageType::row_with_id: return skip_identifier(channel);
        default: break;
        }
        if (!is_text(type)) {
            push_back(channel, type);
            return RowOutcome::no_row;
        }
        if (const RowOutcome outcome = read_text_between_rows(channel, result); outcome != RowOutcome::row)
            return outcome;
    }
}

// Receives into the row until it has size bytes.
static RowOutcome fill_to(Channel& channel, LargeRow& row, size_t size) noexcept {
    while (row.size() < size) {
        size_t room;
        uint8_t* to = row.extend(size - row.size(), room);
        if (!to) return RowOutcome::out_of_memory;
        if (!read_bytes(channel, to, room)) return RowOutcome::network_failure;
        row.filled(room);
    }
    return RowOutcome::row;
}

// A row that begins with the whole buffer.
static RowOutcome store_large_row(Channel& channel, ResultSet& result, RowWalk& walk) noexcept {
    LargeRow row;
    const size_t begun = unread_size(channel);
    if (!row.begin(unread(channel), begun)) return RowOutcome::out_of_memory;
    take(channel, begun);
    const Column* const end = result.columns + result.column_count;
    while (!walk.go_on(end, row.columns(), row.size())) {
        const size_t next_length = walk.column != end ? length_size : 0;
        if (const RowOutcome outcome = fill_to(channel, row, walk.offset + next_length);
            outcome != RowOutcome::row)
            return outcome;
    }
    row.store_in(result.rows);
    return RowOutcome::row;
}

// Stores the row whose columns come next, of any size and wherever it is cut.
static RowOutcome store_next_row(Channel& channel, ResultSet& result) noexcept {
    RowWalk walk{result.columns, 0};
    while (!walk.go_on(result.columns + result.column_count, unread(channel), unread_size(channel))) {
        if (unread_size(channel) == recv_buffer_size) return store_large_row(channel, result, walk);
        if (!receive_more(channel)) return RowOutcome::network_failure;
    }
    if (!store_row(result.rows, unread(channel), walk.offset)) return RowOutcome::out_of_memory;
    take(channel, walk.offset);
    return RowOutcome::row;
}

static RowOutcome read_row(Channel& channel, ResultSet& result) noexcept {
    const RowOutcome outcome = find_row(channel, result);
    if (outcome != RowOutcome::row) return outcome;
    return result.row_count == row_limit ? RowOutcome::limit : store_next_row(channel, result);
}

static int32_t status_of(RowOutcome outcome) noexcept {
    switch (outcome) {
    case RowOutcome::network_failure: return TRN_ERR_NETWORK;
    case RowOutcome::out_of_memory: return TRN_ERR_MEMORY;
    case RowOutcome::limit: return TRN_ERR_SERVER;
    default: return TRN_OK;
    }
}

// Complete rows are stored together; whatever ends their run, and an incomplete row, is read individually.
static RowBatch read_batch(Channel& channel, ResultSet& result, int32_t limit) noexcept {
    RowBatch batch{};
    for (int32_t count; batch.stored < limit; batch.stored += count, result.row_count += count) {
        bool stored = true;
        const int64_t most = std::min<int64_t>(limit - batch.stored, row_limit - result.row_count);
        count =
            channel.pushed_back == MessageType::none ? store_rows_at_hand(channel, result, most, stored) : 0;
        if (count > 0 && stored) continue;
        const RowOutcome outcome = stored ? read_row(channel, result) : RowOutcome::out_of_memory;
        count = 1;
        batch.status = status_of(outcome);
        if (outcome != RowOutcome::row) return batch;
    }
    return batch;
}

RowBatch read_rows(Channel& channel, ResultSet& result, int32_t limit) noexcept {
    const RowBatch batch = read_batch(channel, result, limit);
    if (batch.status == TRN_ERR_SERVER) {
        say(*result.conn, "%s\n", message::result_too_large);
        set_error_message(result.head, message::result_too_large);
    }
    // The rest of the row, or the rows beyond the limit, cannot be told apart from the messages that follow.
    if (batch.status == TRN_ERR_MEMORY || batch.status == TRN_ERR_SERVER) close_channel(channel);
    return batch;
}

void end_rows(ResultSet& result) noexcept {
    trim_rows(result.rows);
    result.upcoming = first_row(result.rows);
}

} // namespace tarn
