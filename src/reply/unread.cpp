#include "reply/unread.h"

#include <utility>

#include "reply/rows.h"
#include "wire/receive.h"

namespace tarn {

void leave_reply(Conn& conn, MessageType type) noexcept {
    if (type == MessageType::end_of_reply) return;
    push_back(conn.channel, type);
    conn.unread_reply = UnreadReply::messages;
}

void leave_reply_before_end(Conn& conn, MessageType type) noexcept {
    if (type == MessageType::end_of_reply) return;
    push_back(conn.channel, type);
    conn.unread_reply = type == MessageType::none ? UnreadReply::end : UnreadReply::message_then_end;
}

bool read_count(Conn& conn, size_t& count) noexcept {
    int32_t length;
    if (!read_i32(conn.channel, length)) return false;
    if (length < 0) leave_reply(conn, MessageType::none);
    count = static_cast<size_t>(length);
    return length >= 0;
}

bool skip_counted(Conn& conn) noexcept {
    size_t count;
    return read_count(conn, count) && skip_bytes(conn.channel, count);
}

// Rows must be parsed, because their widths depend on the columns; they are dropped batch by batch.
bool skip_rows(Channel& channel, ResultSet& layout) noexcept {
    constexpr int32_t batch_size = 200;
    for (;;) {
        drop_rows(layout);
        const RowBatch batch = read_rows(channel, layout, batch_size);
        if (batch.status != TRN_OK) return false;
        if (batch.stored < batch_size) return true;
    }
}

static bool skip_result(Conn& conn) noexcept {
    const OwnedResult scratch(create_result(conn, TRN_ITEM_QUERY));
    if (!scratch) {
        close_channel(conn.channel);
        return false;
    }
    read_columns(conn.channel, *scratch);
    return skip_rows(conn.channel, *scratch);
}

static bool skip_message(Conn& conn, MessageType type) noexcept {
    Channel& channel = conn.channel;
    switch (type) {
    case MessageType::query: return skip_result(conn);
    case MessageType::update_count:
    case MessageType::delete_count: return skip_bytes(channel, 4);
    case MessageType::insert_id:
    case MessageType::error:
    case MessageType::fatal_error:
    case MessageType::notice:
    case MessageType::warning: return skip_counted(conn);
    case MessageType::return_value: return skip_bytes(channel, 4) && skip_counted(conn);
    case MessageType::output_value: return skip_bytes(channel, 8) && skip_counted(conn);
    default: return true; // a separator
    }
}

static bool skip_messages(Conn& conn) noexcept {
    MessageType type;
    do {
        if (!read_type(conn.channel, type) || !skip_message(conn, type)) return false;
    } while (type != MessageType::end_of_reply);
    return true;
}

// Reads an end of reply; any other byte begins the next reply.
static bool skip_end(Conn& conn) noexcept {
    MessageType type;
    if (!read_type(conn.channel, type)) return false;
    if (type != MessageType::end_of_reply) push_back(conn.channel, type);
    return true;
}

static bool skip_unread(Conn& conn) noexcept {
    MessageType type;
    switch (std::exchange(conn.unread_reply, UnreadReply::none)) {
    case UnreadReply::messages: return skip_messages(conn);
    case UnreadReply::message_then_end:
        return read_type(conn.channel, type) && skip_message(conn, type) && skip_end(conn);
    case UnreadReply::end: return skip_end(conn);
    case UnreadReply::none: break;
    }
    return true;
}

bool begin_reply(Conn& conn, MessageType& type) noexcept {
    return skip_unread(conn) && read_type(conn.channel, type);
}

bool finish_last_reply(Conn& conn, size_t request_size) noexcept {
    constexpr size_t surely_taken = 8192; // what any socket buffers without a reader
    return request_size <= surely_taken || conn.unread_reply != UnreadReply::messages || skip_unread(conn);
}

} // namespace tarn
