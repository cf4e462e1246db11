// TRN_Execute2: a prepared statement, executed directly or through a server cursor.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/cursor.h"
#include "stmt/submit.h"

namespace tarn {

// The server's text about a failed statement is stored together with the command.
static void wrap_error(Conn& conn, const char* command, int32_t status) noexcept {
    constexpr size_t area = 200;
    if (!conn.head.error_text || status == TRN_ERR_ARGUMENT) return; // the text is from another call
    if (Owned<char> text = format_text(area, message::statement_failed, command, conn.head.error_text))
        set_error_text(conn.head, std::move(text));
}

static bool values_bound(const ParamSet& set) noexcept {
    return std::any_of(set.slots, set.slots + set.count,
                       [](const ParamSlot& slot) { return slot.direction != 0; });
}

// A described set without bound values: the statement needs some.
static bool needs_values(const ParamSet* set) noexcept {
    return set && set->mode == ParamMode::described && set->count > 0 && !values_bound(*set);
}

// Sends a command with the bound set and receives its result, under the lock. No result on a negative status.
static int32_t execute(Conn& conn, const char* command, ResultSet*& result) noexcept {
    const BoundParams params(conn);
    result = nullptr;
    int32_t status = submit(conn, command, params.get());
    if (status == TRN_OK) status = receive_results(conn, result);
    if (status < 0) {
        release_chain(result);
        result = nullptr;
    }
    return status;
}

static int32_t execute_default(Conn& conn, TRN_HANDLE* result_out) noexcept {
    if (!conn.default_prepared) {
        set_error_message(conn.head, message::no_default_statement);
        return -1;
    }
    const CommandText command(message::execute, conn.default_statement);
    if (command.status() != TRN_OK) return command.status();
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status >= 0) hand_out(result, result_out);
    return status;
}

static int32_t execute_named(Conn& conn, const char* name, TRN_HANDLE* result_out) noexcept {
    const CommandText command(message::execute, name);
    if (command.status() != TRN_OK) return command.status();
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status < 0)
        wrap_error(conn, command.get(), status);
    else
        hand_out(result, result_out);
    return status;
}

static int32_t execute_through_cursor(Conn& conn, const char* name, char* cursor,
                                      TRN_HANDLE* result_out) noexcept {
    const CommandText own_cursor(message::cursor_of_statement, name);
    if (own_cursor.status() != TRN_OK) return own_cursor.status();
    const CommandText command(message::declare_for_statement, own_cursor.get(), name);
    if (command.status() != TRN_OK) return command.status();
    std::strcpy(cursor, own_cursor.get()); // the name is not read after this: it may be the same buffer
    ResultSet* result;
    const int32_t status = execute(conn, command.get(), result);
    if (status < 0) {
        wrap_error(conn, command.get(), status);
        return status;
    }
    const int32_t opened = open_cursor(conn, cursor);
    const bool answered = opened == TRN_OK || opened == TRN_ERR_SERVER;
    hand_out(result, answered ? result_out : nullptr);
    // If the server refuses to open the cursor its text is kept, but the status is 0, on purpose:
    // applications check the error text.
    return answered ? TRN_OK : opened;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute2(TRN_HANDLE* handle, const char* statement_name, char* cursor_name_out,
                     TRN_HANDLE* result_out) {
    if (cursor_name_out && !statement_name) return TRN_ERR_ARGUMENT;
    const RunningCall conn(handle);
    if (!conn) return TRN_ERR_ARGUMENT;
    if (!statement_name) return execute_default(*conn, result_out);
    if (needs_values(conn->bound_params)) {
        set_error_message(conn->head, message::values_unbound);
        return TRN_ERR_UNBOUND;
    }
    return cursor_name_out ? execute_through_cursor(*conn, statement_name, cursor_name_out, result_out)
                           : execute_named(*conn, statement_name, result_out);
}
