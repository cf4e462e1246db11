// TRN_Execute2: a prepared statement, executed directly or through a server cursor.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/messages.h"
#include "result/reply.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

// A server's text about a failed statement is kept together with the command.
static void wrap_error(Conn& conn, const char* command) noexcept {
    constexpr size_t area = 200;
    if (!conn.head.error_text) return;
    if (Owned<char> text = format_text(area, message::statement_failed, command, conn.head.error_text))
        set_error_text(conn.head, std::move(text));
}

static bool values_bound(const ParamSet& set) noexcept {
    return std::any_of(set.slots, set.slots + set.count,
                       [](const ParamSlot& slot) { return slot.direction != 0; });
}

// A described set on which nothing was bound: the statement needs values.
static bool needs_values(const ParamSet* set) noexcept {
    return set && set->mode == ParamMode::described && set->count > 0 && !values_bound(*set);
}

static Owned<char> format_command(const char* form, const char* name) noexcept {
    return format_text(std::strlen(form) + std::strlen(name), form, name);
}

// Sends a command with the bound set and receives its result, under the lock. A negative status hands out no result.
static int32_t execute(Conn& conn, const char* command, ResultSet*& result) noexcept {
    const BoundParams params(conn);
    result = nullptr;
    const int32_t status =
        submit(conn, command, params.get()) ? receive_results(conn, result) : TRN_ERR_NETWORK;
    if (status < 0) {
        release_chain(result);
        result = nullptr;
    }
    return status;
}

static void hand_out(TRN_HANDLE* result_out, ResultSet* result) noexcept {
    if (result_out)
        *result_out = result;
    else
        release_chain(result);
}

static int32_t execute_default(Conn& conn, TRN_HANDLE* result_out) noexcept {
    const ConnLock lock(conn);
    if (!conn.default_prepared) {
        set_error_message(conn.head, message::no_default_statement);
        return -1;
    }
    const Owned<char> command = format_command(message::execute, conn.default_statement);
    if (!command) return TRN_ERR_MEMORY;
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status >= 0) hand_out(result_out, result);
    return status;
}

static int32_t execute_named(Conn& conn, const char* name, TRN_HANDLE* result_out) noexcept {
    const Owned<char> command = format_command(message::execute, name);
    if (!command) return TRN_ERR_MEMORY;
    const ConnLock lock(conn);
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status < 0)
        wrap_error(conn, command.get());
    else
        hand_out(result_out, result);
    return status;
}

// A server that refuses to open the cursor leaves its text; the status does not tell, on purpose: applications look at the
// error text.
static int32_t open_cursor(Conn& conn, const char* cursor) noexcept {
    const Owned<char> command = format_command(message::open_cursor, cursor);
    if (!command) return TRN_ERR_MEMORY;
    const int32_t status = submit(conn, command.get()) ? take_verdict(conn) : TRN_ERR_NETWORK;
    return status == TRN_ERR_SERVER ? TRN_OK : status;
}

static int32_t execute_through_cursor(Conn& conn, const char* name, char* cursor,
                                      TRN_HANDLE* result_out) noexcept {
    const size_t area =
        sizeof message::declare_for_statement + sizeof message::cursor_of_statement + 2 * std::strlen(name);
    const Owned<char> own_name = copy_text(name, std::strlen(name)); // cursor may be the same buffer
    const Owned<char> own_cursor = format_text(area, message::cursor_of_statement, name);
    if (!own_name || !own_cursor) return TRN_ERR_MEMORY;
    std::strcpy(cursor, own_cursor.get());
    const Owned<char> command = format_text(area, message::declare_for_statement, cursor, own_name.get());
    if (!command) return TRN_ERR_MEMORY;
    const ConnLock lock(conn); // over both exchanges
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status < 0) {
        wrap_error(conn, command.get());
        return status;
    }
    const int32_t opened = open_cursor(conn, cursor);
    hand_out(opened == TRN_OK ? result_out : nullptr, result);
    return opened;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute2(TRN_HANDLE* handle, const char* statement_name, char* cursor_name_out,
                     TRN_HANDLE* result_out) {
    Conn* conn = conn_of(handle);
    if (!conn || (cursor_name_out && !statement_name)) return TRN_ERR_ARGUMENT;
    if (!statement_name) return execute_default(*conn, result_out);
    if (needs_values(conn->bound_params)) {
        set_error_message(conn->head, message::values_unbound);
        return TRN_ERR_UNBOUND;
    }
    return cursor_name_out ? execute_through_cursor(*conn, statement_name, cursor_name_out, result_out)
                           : execute_named(*conn, statement_name, result_out);
}
