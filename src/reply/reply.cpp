#include "reply/reply.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "wire/receive.h"

namespace tarn {

void end(Reply& reply, int32_t status) noexcept {
    reply.status = status;
    reply.ended = true;
}

void end_before(Reply& reply, int32_t status) noexcept {
    leave_reply(reply.conn, reply.type);
    end(reply, status);
}

void end_broken(Reply& reply) noexcept {
    if (reply.step) say(reply.conn, message::print_network_error, reply.step);
    end(reply, TRN_ERR_NETWORK);
}

void end_out_of_memory(Reply& reply) noexcept {
    close_channel(reply.conn.channel);
    end(reply, TRN_ERR_MEMORY);
}

bool next_message(Reply& reply) noexcept {
    if (reply.ended) return false;
    const bool read =
        reply.begun ? read_type(reply.conn.channel, reply.type) : begin_reply(reply.conn, reply.type);
    reply.begun = true;
    if (!read) end_broken(reply);
    return read;
}

// An output value ends the reading of results, like every message that does not belong to them: the results
// so far are returned, the other messages stay unread.
static bool opens_message(MessageType type) noexcept {
    switch (type) {
    case MessageType::query:
    case MessageType::update_count:
    case MessageType::delete_count:
    case MessageType::insert_id:
    case MessageType::error:
    case MessageType::fatal_error:
    case MessageType::notice:
    case MessageType::warning:
    case MessageType::return_value:
    case MessageType::output_value:
    case MessageType::end_of_reply: return true;
    default: return false;
    }
}

bool ends_here(Reply& reply) noexcept {
    MessageType type;
    if (!read_type(reply.conn.channel, type)) {
        end_broken(reply);
        return false;
    }
    reply.ended = type == MessageType::end_of_reply;
    if (!reply.ended) push_back(reply.conn.channel, type);
    return reply.ended;
}

int32_t keep_server_text(Conn& conn) noexcept {
    Owned<char> text;
    const int32_t status = read_string(conn.channel, text);
    if (status == TRN_ERR_MEMORY) leave_reply(conn, MessageType::none);
    if (status == TRN_OK) set_error_text(conn.head, std::move(text));
    return status;
}

static void take_text(Reply& reply, const char* print_form, int32_t status) noexcept {
    const int32_t kept = keep_server_text(reply.conn);
    if (kept != TRN_OK) return end(reply, kept);
    say(reply.conn, print_form, reply.conn.head.error_text);
    reply.status = status;
}

static void take_statement_text(Reply& reply) noexcept {
    switch (reply.type) {
    case MessageType::warning: return take_text(reply, message::print_server_warning, TRN_WARNING);
    case MessageType::notice: return take_text(reply, message::print_server_message, TRN_WARNING);
    default: return take_text(reply, message::print_server_error, TRN_ERR_SERVER);
    }
}

static void take_result_text(Reply& reply) noexcept {
    const bool error = reply.type == MessageType::error || reply.type == MessageType::fatal_error;
    reply.worst_text = std::max(reply.worst_text, error ? ServerText::error : ServerText::warning);
    take_text(reply, error ? message::print_error_in_result : message::print_warning_in_result,
              TRN_ERR_SERVER);
}

bool next_of_statement(Reply& reply) noexcept {
    while (next_message(reply)) {
        if (!is_text(reply.type)) return true;
        take_statement_text(reply);
    }
    return false;
}

// The byte after an item is the next message's type if it can be one. Otherwise it is a separator, and the
// type follows it.
static bool skip_separator(Reply& reply) noexcept {
    const bool first = !reply.begun;
    if (!next_message(reply)) return false;
    return first || opens_message(reply.type) || next_message(reply);
}

bool next_item(Reply& reply) noexcept {
    while (skip_separator(reply)) {
        if (!is_text(reply.type)) return true;
        take_result_text(reply);
    }
    return false;
}

int32_t take_verdict(Conn& conn) noexcept {
    MessageType type;
    if (!begin_reply(conn, type)) return TRN_ERR_NETWORK;
    if (type == MessageType::end_of_reply) return TRN_OK;
    const int32_t status = keep_server_text(conn);
    if (status != TRN_OK) return status;
    if (read_type(conn.channel, type)) leave_reply(conn, type); // usually the end
    return TRN_ERR_SERVER;
}

bool read_insert_id(Conn& conn, char (&id)[32]) noexcept {
    size_t count;
    if (!read_count(conn, count)) return false;
    const size_t kept = std::min(count, sizeof id - 1);
    std::memset(id, 0, sizeof id);
    if (!read_bytes(conn.channel, id, kept) || !skip_bytes(conn.channel, count - kept)) return false;
    std::memcpy(conn.last_insert_id, id, sizeof id);
    return true;
}

} // namespace tarn
