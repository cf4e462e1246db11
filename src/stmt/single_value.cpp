// TRN_Execute_query_with_one: a query of which the first column of the first row is handed back.
#include <cstring>

#include "base/bytes.h"
#include "conn/messages.h"
#include "result/reply.h"
#include "result/rows.h"
#include "result/type_codes.h"
#include "result/value.h"
#include "stmt/submit.h"
#include "wire/receive.h"
#include "wire/send.h"

namespace tarn {

namespace {

// The application's value area and type word.
struct SingleValue {
    void* area;
    uint32_t* type_word;
};

// How the reply goes on after a message. Counts, identifiers and an end of reply return the status they stand for; any other
// way out of the reply returns 0.
struct Progress {
    int32_t status;
    bool ended;
};

} // namespace

static constexpr int32_t rows_per_chunk = 200;
static constexpr size_t value_area_size = 64;

static Progress end(int32_t status) noexcept {
    return {status, true};
}

// A 4-byte length, then the pointer to a copy that the application releases.
static bool hand_over(const Value& value, void* area) noexcept {
    Owned<char> copy = copy_text(value.text().data(), value.length);
    if (!copy) return false;
    uint8_t* to = static_cast<uint8_t*>(area);
    store(to, value.length);
    store(to + 4, copy.release());
    return true;
}

static int32_t format_value(const Value& value, const SingleValue& out) noexcept {
    WorkingText text;
    add_value_text(value, TextStyle::of_single_value, text);
    if (!text.empty()) {
        std::memcpy(out.area, text.text().data(), text.text().size());
        return TRN_OK;
    }
    const bool may_stay = value.wire_type == TRN_WIRE_CHAR || value.wire_type == wire_opaque_too;
    if (may_stay && value.length < value_area_size) {
        std::memcpy(out.area, value.bytes, value.length);
        return TRN_OK;
    }
    if (!may_stay && !is_byte_run(value.wire_type)) return TRN_OK; // no text: the area stays as it is
    if (!hand_over(value, out.area)) return TRN_ERR_MEMORY;
    *out.type_word += TRN_HANDED_OVER;
    return TRN_OK;
}

static int32_t give_value(const ResultSet& result, const SingleValue& out) noexcept {
    if (result.row_count == 0) {
        *out.type_word = 0;
        store(out.area, int32_t{0});
        return TRN_OK;
    }
    if (result.column_count == 0) return TRN_OK;
    *out.type_word = static_cast<uint32_t>(result.columns[0].wire_type);
    Value value;
    if (!locate_value(find_row(*result.directory, 0), result.columns[0], value)) {
        store(out.area, int32_t{0});
        return TRN_OK;
    }
    return format_value(value, out);
}

// Behind the first full chunk a "." is sent, once; rows follow whatever the server makes of it.
static RowBatch read_chunks(Conn& conn, ResultSet& result, bool& ended) noexcept {
    ended = false;
    RowBatch chunk = read_rows(conn, result, rows_per_chunk);
    if (chunk.status == TRN_OK && chunk.stored == rows_per_chunk) {
        if (!look_for_end(conn, ended)) chunk.status = TRN_ERR_NETWORK;
        if (ended || chunk.status != TRN_OK) return chunk;
        put_bytes(conn, ".", 1);
        flush_send(conn);
        while (chunk.status == TRN_OK && chunk.stored == rows_per_chunk)
            chunk = read_rows(conn, result, rows_per_chunk);
    }
    if (chunk.status == TRN_OK && !look_for_end(conn, ended)) chunk.status = TRN_ERR_NETWORK;
    return chunk;
}

static Progress take_result(Conn& conn, const SingleValue& out) noexcept {
    const OwnedResult result(create_result(conn, TRN_ITEM_QUERY));
    if (!result) break_link(conn);
    if (!result || read_columns(conn, *result) == TRN_ERR_MEMORY) return end(TRN_ERR_MEMORY);
    bool ended;
    const RowBatch chunk = read_chunks(conn, *result, ended);
    if (chunk.status != TRN_OK) return end(chunk.status);
    if (ended) return end(give_value(*result, out));
    return {chunk.stored, false};
}

// The status is at_end when the item ends the reply.
static Progress look_behind_item(Conn& conn, int32_t at_end, int32_t otherwise) noexcept {
    bool ended;
    if (!look_for_end(conn, ended)) return end(TRN_ERR_NETWORK);
    return {ended ? at_end : otherwise, ended};
}

// The kind of the item is the status here, not its count.
static Progress take_count(Conn& conn, int32_t kind) noexcept {
    return skip_bytes(conn, 4) ? look_behind_item(conn, kind, kind) : end(TRN_ERR_NETWORK);
}

// The identifier becomes the connection's last only through the other calls.
static Progress drop_insert(Conn& conn, int32_t status) noexcept {
    return skip_counted(conn) ? look_behind_item(conn, TRN_ITEM_INSERT, status) : end(TRN_ERR_NETWORK);
}

static Progress take_text(Conn& conn, const char* print_form, int32_t status) noexcept {
    const int32_t taken = take_server_text(conn, print_form);
    return taken == TRN_OK ? Progress{status, false} : end(taken);
}

static Progress take_message(Conn& conn, const SingleValue& out, uint8_t type, int32_t status) noexcept {
    switch (type) {
    case 'A': return take_result(conn, out);
    case 'U': return take_count(conn, TRN_ITEM_UPDATE);
    case 'D': return take_count(conn, TRN_ITEM_DELETE);
    case 'I': return drop_insert(conn, status);
    case 'E':
    case 'F': return take_text(conn, message::print_server_error, TRN_ERR_SERVER);
    case 'W': return take_text(conn, message::print_server_warning, TRN_WARNING);
    case 'M': return take_text(conn, message::print_server_message, TRN_WARNING);
    case end_of_reply: return end(status);
    default: // a message that this call does not read, such as an output value
        leave_reply(conn, type);
        return end(TRN_OK);
    }
}

static int32_t read_single_value_reply(Conn& conn, const SingleValue& out) noexcept {
    Progress progress{};
    uint8_t type;
    for (bool read = begin_reply(conn, type); read; read = read_u8(conn, type)) {
        progress = take_message(conn, out, type, progress.status);
        if (progress.ended) return progress.status;
    }
    return TRN_ERR_NETWORK;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute_query_with_one(TRN_HANDLE* handle, const char* sql, void* value_area,
                                   uint32_t* type_word) {
    Conn* conn = conn_of(handle);
    if (!conn || !sql || !fits_command(sql) || !value_area || !type_word) return TRN_ERR_ARGUMENT;
    const ConnLock lock(*conn);
    const BoundParams params(*conn);
    return submit(*conn, sql, params.get()) ? read_single_value_reply(*conn, {value_area, type_word})
                                            : TRN_ERR_NETWORK;
}
