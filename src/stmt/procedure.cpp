// TRN_Execute_procesure: calls a procedure or function and delivers its output values into the bound slots.
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/chunks.h"
#include "stmt/no_query.h"
#include "stmt/output_value.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

static constexpr char procedure_step[] = "recv_noQuery_OP";

namespace {

struct Output {
    int32_t type; // TRN_WIRE_*
    size_t length;
    Owned<char> bytes;
};

} // namespace

static void end_without_memory(Reply& reply) noexcept {
    leave_reply(reply.conn, MessageType::none);
    end(reply, TRN_ERR_MEMORY);
}

// False when the reply ended inside the value.
static bool read_output(Reply& reply, Output& output) noexcept {
    if (!read_i32(reply.conn.channel, output.type) || !read_count(reply.conn, output.length)) {
        end_broken(reply);
        return false;
    }
    const int32_t status = read_block(reply.conn.channel, output.length, output.bytes);
    if (status == TRN_ERR_NETWORK) end_broken(reply);
    if (status == TRN_ERR_MEMORY) end_without_memory(reply);
    return status == TRN_OK;
}

static void deliver(Reply& reply, const ParamSlot& slot, Output& output) noexcept {
    const int32_t status =
        deliver_output(slot, output.type, reinterpret_cast<uint8_t*>(output.bytes.get()), output.length);
    if (status == TRN_ERR_MEMORY) return end_without_memory(reply);
    if (status != TRN_OK) reply.status = status;
}

static void refuse_output(Reply& reply, const char* error) noexcept {
    set_error_message(reply.conn.head, error);
    reply.status = TRN_ERR_UNBOUND;
}

// The return value goes to the last slot, if that is one for return values.
static void take_return_value(Reply& reply, const ParamSet& set) noexcept {
    Output output;
    if (!read_output(reply, output)) return;
    reply.conn.fun_return_type = output.type;
    if (set.count == 0) return refuse_output(reply, message::return_value_unbound);
    const ParamSlot& slot = set.slots[set.count - 1];
    if (slot.direction == TRN_DIRECTION_RETURN) deliver(reply, slot, output);
}

static const ParamSlot* output_slot(const ParamSet& set, int32_t index) noexcept {
    if (index < 0 || index >= set.count) return nullptr;
    const ParamSlot& slot = set.slots[index];
    return slot.direction == TRN_DIRECTION_OUT || slot.direction == TRN_DIRECTION_INOUT ? &slot : nullptr;
}

// An empty value is accepted even if nothing is bound.
static void take_output(Reply& reply, const ParamSet& set) noexcept {
    int32_t index;
    Output output;
    if (!read_i32(reply.conn.channel, index)) return end_broken(reply);
    if (!read_output(reply, output)) return;
    if (set.count == 0 && output.length > 0) return refuse_output(reply, message::output_unbound);
    if (const ParamSlot* slot = output_slot(set, index)) deliver(reply, *slot, output);
}

// Rows after the second chunk end the call. They are skipped here, while their columns are known; if that
// fails the channel is closed, and the next call reports it.
static void end_before_rows(Reply& reply, ResultSet* rows) noexcept {
    if (rows) {
        push_back(reply.conn.channel, reply.type);
        if (!skip_rows(reply.conn.channel, *rows) || !read_type(reply.conn.channel, reply.type))
            return end(reply, reply.status);
    }
    end_before(reply, reply.status);
}

static int32_t read_procedure_reply(Conn& conn, const ParamSet& set) noexcept {
    Reply reply{conn, procedure_step};
    OwnedResult rows; // the last result, to be dropped
    while (next_of_statement(reply)) {
        switch (reply.type) {
        case MessageType::query:
            rows = read_chunk_columns(reply);
            if (rows) read_chunks(reply, *rows, Chunks::two);
            break;
        case MessageType::return_value: take_return_value(reply, set); break;
        case MessageType::output_value: take_output(reply, set); break;
        case MessageType::row:
        case MessageType::row_with_id: end_before_rows(reply, rows.get()); break;
        default: end_before(reply, reply.status);
        }
    }
    return reply.status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute_procesure(TRN_HANDLE* handle, const char* sql, void*) {
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    ParamSet* set = conn->bound_params;
    int32_t status = submit(*conn, sql, set, set ? procedure_step : no_query_step);
    release_sent_inputs(set);
    if (status == TRN_OK) status = set ? read_procedure_reply(*conn, *set) : read_no_query_reply(*conn);
    release_used_values(set);
    return status;
}
