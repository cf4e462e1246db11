// TRN_Prepare2 and TRN_UnPrepare.
#include "stmt/prepared.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "reply/rows.h"
#include "stmt/param_set.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

// The status of a prepare whose statement returns rows.
static constexpr int32_t yields_rows = TRN_PREPARED_QUERY;

static int32_t take_param(Conn& conn, ParamSlot& slot) noexcept {
    Owned<char> name;
    const int32_t status = read_string(conn.channel, name);
    if (status == TRN_ERR_MEMORY) close_channel(conn.channel);
    if (status != TRN_OK) return status;
    slot.name = name.release();
    int32_t position; // not needed: entries are sent in slot order
    uint32_t data_type;
    if (!read_i32(conn.channel, position) || !read_u32(conn.channel, data_type) ||
        !read_i32(conn.channel, slot.buffer_length))
        return TRN_ERR_NETWORK;
    slot.data_type = data_type;
    return TRN_OK;
}

static int32_t fill_description(Conn& conn, ParamSet& set) noexcept {
    int32_t count;
    if (!read_i32(conn.channel, count) || count < 0 || count > param_limit) {
        close_channel(conn.channel);
        return TRN_ERR_NETWORK;
    }
    if (!reserve_slots(set, count, std::max(count, param_growth))) {
        close_channel(conn.channel);
        return TRN_ERR_MEMORY;
    }
    for (; set.count < count; ++set.count)
        if (const int32_t status = take_param(conn, set.slots[set.count])) return status;
    return TRN_OK;
}

// Binding values to the described parameters fills the slots of this set.
static int32_t take_description(Conn& conn) noexcept {
    ParamSet* set = create_params(ParamMode::described);
    if (!set) close_channel(conn.channel);
    const int32_t status = set ? fill_description(conn, *set) : TRN_ERR_MEMORY;
    if (status != TRN_OK)
        drop_params_reference(set);
    else
        attach_params(conn, set);
    return status;
}

static int32_t read_prepare_reply(Conn& conn) noexcept {
    Reply reply{conn};
    while (next_message(reply)) {
        int32_t taken = TRN_OK;
        switch (reply.type) {
        case MessageType::query:
            taken = skip_columns(conn);
            if (taken == TRN_OK) reply.status = yields_rows;
            break;
        case MessageType::parameters: taken = take_description(conn); break;
        case MessageType::end_of_reply:
            conn.default_prepared = 1;
            end(reply, reply.status);
            break;
        default: taken = keep_server_text(conn); reply.status = TRN_ERR_SERVER;
        }
        if (taken < 0) end(reply, taken);
    }
    return reply.status;
}

// Names are unique for the lifetime of a connection; the application's buffer and the default name have 20
// bytes.
static void next_statement_name(Conn& conn, char* name) noexcept {
    std::snprintf(name, sizeof conn.default_statement, "STC%d", conn.statement_counter++);
}

static int32_t prepare(Conn& conn, const char* name, const char* sql) noexcept {
    const CommandText command(message::prepare, name, sql);
    if (command.status() != TRN_OK) return command.status();
    const int32_t sent = submit(conn, command.get());
    return sent == TRN_OK ? read_prepare_reply(conn) : sent;
}

static int32_t deallocate(Conn& conn, const char* name) noexcept {
    const CommandText command(message::deallocate, name);
    if (command.status() != TRN_OK) return command.status();
    int32_t status = submit(conn, command.get());
    if (status == TRN_OK) status = take_verdict(conn);
    if (status != TRN_ERR_NETWORK) conn.default_prepared = 0;
    return status;
}

int32_t deallocate_default(Conn& conn) noexcept {
    const RunningCall call(conn);
    return deallocate(conn, conn.default_statement);
}

// A named prepare does not affect the default statement.
static int32_t prepare_named(Conn& conn, char* name_out, const char* sql) noexcept {
    const int32_t default_prepared = conn.default_prepared;
    next_statement_name(conn, name_out);
    const int32_t status = prepare(conn, name_out, sql);
    conn.default_prepared = default_prepared;
    return status;
}

static int32_t prepare_default(Conn& conn, const char* sql) noexcept {
    if (conn.default_prepared) {
        const int32_t status = deallocate(conn, conn.default_statement);
        if (status < 0) return status;
    }
    next_statement_name(conn, conn.default_statement);
    return prepare(conn, conn.default_statement, sql);
}

// Ending a named statement does not affect the default statement.
static int32_t unprepare(Conn& conn, const char* name) noexcept {
    const int32_t default_prepared = conn.default_prepared;
    if (!name && !default_prepared) {
        set_error_message(conn.head, message::no_default_statement);
        return -1;
    }
    const int32_t status = deallocate(conn, name ? name : conn.default_statement);
    conn.default_prepared = name ? default_prepared : 0;
    return status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Prepare2(TRN_HANDLE* handle, const char* sql, char* name_out) {
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    return name_out ? prepare_named(*conn, name_out, sql) : prepare_default(*conn, sql);
}

int32_t TRN_UnPrepare(TRN_HANDLE* handle, const char* name) {
    const RunningCall conn(handle);
    return conn ? unprepare(*conn, name) : TRN_ERR_ARGUMENT;
}
