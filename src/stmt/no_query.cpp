// TRN_Execute_no_query: a statement whose reply is counts, identifiers and texts.
#include "stmt/no_query.h"

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

static void end_inside(Reply& reply, const char* printed, const char* error) noexcept {
    say(reply.conn, "%s", printed);
    set_error_message(reply.conn.head, error);
    end(reply, TRN_ERR_NETWORK);
}

static void take_count(Reply& reply) noexcept {
    if (read_i32(reply.conn.channel, reply.status))
        ends_here(reply);
    else
        end_inside(reply, message::print_count_unread, message::count_unread);
}

// The number of identifiers becomes the status only if the last one ends the reply.
static void take_insert(Reply& reply, int32_t& inserts) noexcept {
    char id[32];
    if (!read_insert_id(reply.conn, id))
        return end_inside(reply, message::print_insert_unread, message::insert_unread);
    ++inserts;
    if (ends_here(reply)) reply.status = inserts;
}

// An output value without a parameter for it: an "O" has one number before its bytes, a "P" two.
static void drop_output(Reply& reply, size_t numbers) noexcept {
    if (!skip_bytes(reply.conn.channel, 4 * numbers) || !skip_counted(reply.conn)) return end_broken(reply);
    set_error_message(reply.conn.head, message::outputs_unbound);
    reply.status = TRN_ERR_OUTPUTS;
}

int32_t read_no_query_reply(Conn& conn) noexcept {
    Reply reply{conn, no_query_step};
    int32_t inserts = 0;
    while (next_of_statement(reply)) {
        switch (reply.type) {
        case MessageType::update_count:
        case MessageType::delete_count: take_count(reply); break;
        case MessageType::insert_id: take_insert(reply, inserts); break;
        case MessageType::return_value: drop_output(reply, 1); break;
        case MessageType::output_value: drop_output(reply, 2); break;
        default:
            end_before(reply,
                       reply.status); // the end, or a message that this call does not read, such as rows
        }
    }
    return reply.status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute_no_query(TRN_HANDLE* handle, const char* sql) {
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    const BoundParams params(*conn);
    const int32_t sent = submit(*conn, sql, params.get(), no_query_step);
    return sent == TRN_OK ? read_no_query_reply(*conn) : sent;
}
