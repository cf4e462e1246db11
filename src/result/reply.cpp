#include "result/reply.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/text.h"
#include "conn/messages.h"
#include "result/rows.h"
#include "wire/receive.h"

namespace tarn {

bool read_count(Conn& conn, size_t& count) noexcept {
    int32_t length;
    if (!read_i32(conn, length)) return false;
    if (length < 0) leave_reply(conn, 0);
    count = static_cast<size_t>(length);
    return length >= 0;
}

bool skip_counted(Conn& conn) noexcept {
    size_t count;
    return read_count(conn, count) && skip_bytes(conn, count);
}

// Rows are read as usual, because their widths follow the columns, and dropped batch by batch.
bool pass_over_rows(Conn& conn, ResultSet& layout) noexcept {
    constexpr int32_t batch_size = 200;
    for (;;) {
        release_rows(layout);
        const RowBatch batch = read_rows(conn, layout, batch_size);
        if (batch.status != TRN_OK) return false;
        if (batch.stored < batch_size) return true;
    }
}

static bool pass_over_result(Conn& conn) noexcept {
    const OwnedResult scratch(create_result(conn, TRN_ITEM_QUERY));
    if (!scratch) {
        break_link(conn);
        return false;
    }
    read_columns(conn, *scratch);
    return pass_over_rows(conn, *scratch);
}

static bool pass_over_message(Conn& conn, uint8_t type) noexcept {
    switch (type) {
    case 'A': return pass_over_result(conn);
    case 'U':
    case 'D': return skip_bytes(conn, 4);
    case 'I':
    case 'E':
    case 'F':
    case 'M':
    case 'W': return skip_counted(conn);
    case 'O': return skip_bytes(conn, 4) && skip_counted(conn);
    case 'P': return skip_bytes(conn, 8) && skip_counted(conn);
    default: return true; // a separator
    }
}

// False when the stream broke.
static bool look_for_end(Conn& conn, bool& ended) noexcept {
    uint8_t type;
    if (!read_u8(conn, type)) return false;
    ended = type == end_of_reply;
    if (!ended) push_back(conn, type);
    return true;
}

static bool pass_over_only_end(Conn& conn) noexcept {
    conn.reply_rest = ReplyRest::none;
    uint8_t type;
    if (conn.pushed_back_byte && (!read_u8(conn, type) || !pass_over_message(conn, type))) return false;
    bool ended;
    return look_for_end(conn, ended);
}

static bool pass_over_rest(Conn& conn) noexcept {
    if (conn.reply_rest == ReplyRest::only_end) return pass_over_only_end(conn);
    uint8_t type;
    do {
        if (!read_u8(conn, type) || !pass_over_message(conn, type)) return false;
    } while (type != end_of_reply);
    conn.reply_rest = ReplyRest::none;
    return true;
}

bool begin_reply(Conn& conn, uint8_t& type) noexcept {
    if (conn.reply_rest != ReplyRest::none && !pass_over_rest(conn)) return false;
    return read_u8(conn, type);
}

void end(Reply& reply, int32_t status) noexcept {
    reply.status = status;
    reply.ended = true;
}

void end_before(Reply& reply, int32_t status) noexcept {
    leave_reply(reply.conn, reply.type);
    end(reply, status);
}

void end_broken(Reply& reply) noexcept {
    if (reply.step) print_line(message::print_network_error, reply.step);
    end(reply, TRN_ERR_NETWORK);
}

bool next_message(Reply& reply) noexcept {
    if (reply.ended) return false;
    const bool read = reply.begun ? read_u8(reply.conn, reply.type) : begin_reply(reply.conn, reply.type);
    reply.begun = true;
    if (!read) end_broken(reply);
    return read;
}

bool next_item(Reply& reply) noexcept {
    const bool first = !reply.begun;
    if (!next_message(reply)) return false;
    // Output values end the reception of results, but they are messages, to be passed over as such.
    constexpr std::string_view openers = "AUDIEFMWOP";
    const bool separates = !first && reply.type != end_of_reply &&
                           openers.find(static_cast<char>(reply.type)) == std::string_view::npos;
    return !separates || next_message(reply);
}

bool ends_here(Reply& reply) noexcept {
    if (!look_for_end(reply.conn, reply.ended)) {
        end_broken(reply);
        return false;
    }
    return reply.ended;
}

void leave_reply(Conn& conn, uint8_t type, ReplyRest rest) noexcept {
    if (type == end_of_reply) return;
    push_back(conn, type);
    conn.reply_rest = rest;
}

int32_t keep_server_text(Conn& conn) noexcept {
    Owned<char> text;
    const int32_t status = read_string(conn, text);
    if (status == TRN_ERR_MEMORY) leave_reply(conn, 0);
    if (status == TRN_OK) set_error_text(conn.head, std::move(text));
    return status;
}

static void take_text(Reply& reply, const char* print_form, int32_t status) noexcept {
    const int32_t kept = keep_server_text(reply.conn);
    if (kept != TRN_OK) return end(reply, kept);
    print_line(print_form, reply.conn.head.error_text);
    reply.status = status;
}

void take_statement_text(Reply& reply) noexcept {
    switch (reply.type) {
    case 'W': return take_text(reply, message::print_server_warning, TRN_WARNING);
    case 'M': return take_text(reply, message::print_server_message, TRN_WARNING);
    default: return take_text(reply, message::print_server_error, TRN_ERR_SERVER);
    }
}

void take_result_text(Reply& reply) noexcept {
    const bool error = reply.type == 'E' || reply.type == 'F';
    reply.worst_text = std::max(reply.worst_text, error ? ServerText::error : ServerText::warning);
    take_text(reply, error ? message::print_error_in_result : message::print_warning_in_result,
              TRN_ERR_SERVER);
}

int32_t take_verdict(Conn& conn) noexcept {
    uint8_t type;
    if (!begin_reply(conn, type)) return TRN_ERR_NETWORK;
    if (type == end_of_reply) return TRN_OK;
    const int32_t status = keep_server_text(conn);
    if (status != TRN_OK) return status;
    if (read_u8(conn, type)) leave_reply(conn, type); // the end, as a rule
    return TRN_ERR_SERVER;
}

bool read_insert_id(Conn& conn, char (&id)[32]) noexcept {
    size_t count;
    if (!read_count(conn, count)) return false;
    const size_t kept = std::min(count, sizeof id - 1);
    std::memset(id, 0, sizeof id);
    if (!read_bytes(conn, id, kept) || !skip_bytes(conn, count - kept)) return false;
    std::memcpy(conn.last_insert_id, id, sizeof id);
    return true;
}

bool make_way(Conn& conn, size_t size) noexcept {
    constexpr size_t surely_taken = transfer_buffer_size; // what any socket takes while nobody reads
    return size <= surely_taken || conn.reply_rest != ReplyRest::messages || pass_over_rest(conn);
}

} // namespace tarn
