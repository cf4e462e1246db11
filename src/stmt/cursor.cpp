// Server cursors: declaring and opening, fetching, closing.
#include "stmt/cursor.h"

#include "conn/call.h"
#include "conn/messages.h"
#include "reply/reply.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

static constexpr int32_t rows_per_rowset = 20000;

int32_t open_cursor(Conn& conn, const char* name) noexcept {
    const CommandText command(message::open_cursor, name);
    if (command.status() != TRN_OK) return command.status();
    const int32_t sent = submit(conn, command.get());
    return sent == TRN_OK ? take_verdict(conn) : sent;
}

// The status is that of the sending only: a refused declaration leaves no columns, and the server then
// refuses to open the cursor, too.
static int32_t declare_cursor(Conn& conn, const char* command, ResultSet*& columns) noexcept {
    columns = nullptr;
    const int32_t sent = submit(conn, command, conn.bound_params);
    release_used_values(conn.bound_params);
    if (sent == TRN_OK) receive_results(conn, columns);
    return sent;
}

// Receives into the given record, if any. Needs the lock.
static int32_t fetch_rowset(Conn& conn, const char* command, OwnedResult& rowset) noexcept {
    const int32_t sent = submit(conn, command);
    return sent == TRN_OK ? receive_rowset(conn, rowset) : sent;
}

// Gives the record to this connection, and drops its contents.
static void reuse_result(ResultSet& result, Conn& conn) noexcept {
    drop_rows(result);
    drop_columns(result);
    release_chain(result.next);
    result.next = nullptr;
    set_error_text(result.head, nullptr);
    result.kind = TRN_ITEM_QUERY;
    result.affected = 0;
    result.lob_descriptor = conn.settings.lob_descriptor;
    retain(conn);
    drop_reference(result.conn);
    result.conn = &conn;
}

static int32_t take_close_verdict(Conn& conn, const char* name) noexcept {
    constexpr size_t error_area = 200;
    MessageType type;
    if (!begin_reply(conn, type)) return TRN_ERR_NETWORK;
    if (type == MessageType::end_of_reply) return TRN_OK;
    Owned<char> text;
    const int32_t status = read_string(conn.channel, text);
    if (status == TRN_OK)
        leave_reply_before_end(conn);
    else
        leave_reply(conn, MessageType::none);
    if (status != TRN_OK) return status;
    set_error_text(conn.head, format_text(error_area, message::cursor_not_closed, text.get(), name));
    return TRN_ERR_SERVER;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_ExecwithServerCursorReader(TRN_HANDLE* handle, const char* sql, const char* cursor_name,
                                       TRN_HANDLE* result_out, int32_t* column_count) {
    if (!cursor_name) return TRN_ERR_ARGUMENT;
    const RunningCall conn(handle, sql); // over both exchanges
    if (!conn) return TRN_ERR_ARGUMENT;
    const CommandText command(message::declare_for_query, cursor_name, sql);
    if (command.status() != TRN_OK) return command.status();
    ResultSet* columns;
    int32_t status = declare_cursor(*conn, command.get(), columns);
    if (status == TRN_OK) status = open_cursor(*conn, cursor_name);
    if (status != TRN_OK) {
        release_chain(columns);
        return status;
    }
    if (columns && column_count) *column_count = columns->column_count;
    hand_out(columns, result_out);
    return TRN_OK;
}

int32_t TRN_FetchServerCursorRowset(TRN_HANDLE* handle, const char* cursor_name, TRN_HANDLE* rowset_out) {
    const RunningCall conn(handle, cursor_name);
    if (!conn) return TRN_ERR_ARGUMENT;
    const CommandText command(message::fetch_rowset, rows_per_rowset, cursor_name);
    if (command.status() != TRN_OK) return command.status();
    OwnedResult rowset;
    const int32_t status = fetch_rowset(*conn, command.get(), rowset);
    if (status == TRN_ERR_NETWORK || status == TRN_ERR_MEMORY) rowset.reset();
    hand_out(rowset.release(), rowset_out);
    return status;
}

int32_t TRN_FetchServerCursorRowset_V2(TRN_HANDLE* handle, const char* fetch_text, TRN_HANDLE* rowset) {
    const RunningCall conn(handle, fetch_text);
    if (!conn || !rowset || (*rowset && !result_of(rowset))) return TRN_ERR_ARGUMENT;
    if (ResultSet* result = result_of(rowset)) {
        reuse_result(*result, *conn);
        OwnedResult borrowed(result);
        const int32_t status = fetch_rowset(*conn, fetch_text, borrowed);
        (void)borrowed.release();
        return status;
    }
    OwnedResult unclaimed; // there is no variable for it
    return fetch_rowset(*conn, fetch_text, unclaimed);
}

int32_t TRN_FetchRefCursorHead(TRN_HANDLE* handle, const char* cursor_name, TRN_HANDLE* result_out,
                               int32_t* column_count, int64_t* row_count, int32_t* fetch_count) {
    const RunningCall conn(handle, cursor_name);
    if (!conn || !fetch_count) return TRN_ERR_ARGUMENT;
    const CommandText command(message::fetch_ref_cursor, *fetch_count, cursor_name);
    if (command.status() != TRN_OK) return command.status();
    ResultSet* result = nullptr;
    if (submit(*conn, command.get()) == TRN_OK) receive_results(*conn, result);
    if (result && column_count) *column_count = result->column_count;
    if (result && row_count) *row_count = result->row_count;
    hand_out(result, result_out);
    // The status is 0 whatever came, on purpose: applications check the result and the error text.
    return TRN_OK;
}

int32_t TRN_CloseCursor(TRN_HANDLE* handle, const char* cursor_name) {
    const RunningCall conn(handle, cursor_name);
    if (!conn) return TRN_ERR_ARGUMENT;
    const CommandText command(message::close_cursor, cursor_name);
    if (command.status() != TRN_OK) return command.status();
    const int32_t status = submit(*conn, command.get());
    return status == TRN_OK ? take_close_verdict(*conn, cursor_name) : status;
}
