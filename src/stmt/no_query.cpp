// TRN_Execute_no_query: a statement whose reply is counts, identifiers and texts.
#include "base/text.h"
#include "conn/messages.h"
#include "result/reply.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

namespace {

// Where the reply stands after a message. The status is the last message's: a later one overrides an earlier error.
struct Progress {
    int32_t status;
    int32_t inserts;
    bool ended;
};

} // namespace

static void end(Progress& progress, int32_t status) noexcept {
    progress.status = status;
    progress.ended = true;
}

static void end_unread(Progress& progress) noexcept {
    print_line(message::print_network_error, "recv_noQuery");
    end(progress, TRN_ERR_NETWORK);
}

static void end_inside(Conn& conn, Progress& progress, const char* printed, const char* error) noexcept {
    print_line("%s", printed);
    set_error_message(conn.head, error);
    end(progress, TRN_ERR_NETWORK);
}

// True when the reply ends behind the item: the item is then the call's status at once.
static bool ends_behind_item(Conn& conn, Progress& progress) noexcept {
    if (look_for_end(conn, progress.ended)) return progress.ended;
    end_unread(progress);
    return false;
}

static void take_count(Conn& conn, Progress& progress) noexcept {
    if (!read_i32(conn, progress.status))
        return end_inside(conn, progress, message::print_count_unread, message::count_unread);
    ends_behind_item(conn, progress);
}

// The number of identifiers becomes the status only where the last one ends the reply.
static void take_insert(Conn& conn, Progress& progress) noexcept {
    char id[32];
    if (!read_insert_id(conn, id))
        return end_inside(conn, progress, message::print_insert_unread, message::insert_unread);
    ++progress.inserts;
    if (ends_behind_item(conn, progress)) progress.status = progress.inserts;
}

static void take_text(Conn& conn, Progress& progress, const char* print_form, int32_t status) noexcept {
    const int32_t taken = take_server_text(conn, print_form);
    if (taken != TRN_OK) return end(progress, taken);
    progress.status = status;
}

// An output value without a parameter to take it: an "O" has one number in front of its bytes, a "P" two.
static void drop_output(Conn& conn, Progress& progress, size_t numbers) noexcept {
    if (!skip_bytes(conn, 4 * numbers) || !skip_counted(conn)) return end_unread(progress);
    set_error_message(conn.head, message::outputs_unbound);
    progress.status = TRN_ERR_OUTPUTS;
}

static void take_message(Conn& conn, Progress& progress, uint8_t type) noexcept {
    switch (type) {
    case 'U':
    case 'D': take_count(conn, progress); break;
    case 'I': take_insert(conn, progress); break;
    case 'E':
    case 'F': take_text(conn, progress, message::print_server_error, TRN_ERR_SERVER); break;
    case 'W': take_text(conn, progress, message::print_server_warning, TRN_WARNING); break;
    case 'M': take_text(conn, progress, message::print_server_message, TRN_WARNING); break;
    case 'O': drop_output(conn, progress, 1); break;
    case 'P': drop_output(conn, progress, 2); break;
    default: // the end, or a message that this call does not read, such as the rows of a query
        leave_reply(conn, type);
        progress.ended = true;
    }
}

static int32_t read_no_query_reply(Conn& conn) noexcept {
    Progress progress{};
    uint8_t type;
    for (bool read = begin_reply(conn, type); read; read = read_u8(conn, type)) {
        take_message(conn, progress, type);
        if (progress.ended) return progress.status;
    }
    end_unread(progress);
    return progress.status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute_no_query(TRN_HANDLE* handle, const char* sql) {
    Conn* conn = conn_of(handle);
    if (!conn || !sql || !fits_command(sql)) return TRN_ERR_ARGUMENT;
    const ConnLock lock(*conn);
    const BoundParams params(*conn);
    return submit(*conn, sql, params.get()) ? read_no_query_reply(*conn) : TRN_ERR_NETWORK;
}
