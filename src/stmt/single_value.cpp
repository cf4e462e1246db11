// TRN_Execute_query_with_one: the first column of a query's first row.
#include "stmt/single_value.h"

#include <cstring>

#include "base/bytes.h"
#include "conn/call.h"
#include "reply/reply.h"
#include "reply/type_codes.h"
#include "result/value.h"
#include "stmt/chunks.h"
#include "stmt/submit.h"
#include "wire/receive.h"

namespace tarn {

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
    if (!may_stay && !is_byte_run(value.wire_type)) return TRN_OK; // no text: the area is unchanged
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
    const Column& column = result.columns[0];
    *out.type_word = static_cast<uint32_t>(column.wire_type);
    RowCursor rows = first_row(result.rows);
    const uint8_t* field = next_row(rows);
    if (is_null(field)) {
        store(out.area, int32_t{0});
        return TRN_OK;
    }
    return format_value(StoredValue{&column, field}.value(), out);
}

static void take_result(Reply& reply, const SingleValue& out) noexcept {
    const OwnedResult result = read_chunk_columns(reply);
    if (!result) return;
    read_chunks(reply, *result, Chunks::all);
    if (reply.ended && reply.status >= 0) reply.status = give_value(*result, out);
}

// Here the status is the kind of the item, not its count.
static void take_count(Reply& reply) noexcept {
    if (!skip_bytes(reply.conn.channel, 4)) return end_broken(reply);
    reply.status = reply.type == MessageType::update_count ? TRN_ITEM_UPDATE : TRN_ITEM_DELETE;
    ends_here(reply);
}

// Only the other calls make the identifier the connection's last; the status is set only at the end of the
// reply.
static void drop_insert(Reply& reply) noexcept {
    if (!skip_counted(reply.conn)) return end_broken(reply);
    if (ends_here(reply)) reply.status = TRN_ITEM_INSERT;
}

int32_t read_single_value_reply(Conn& conn, const SingleValue& out) noexcept {
    Reply reply{conn};
    while (next_of_statement(reply)) {
        switch (reply.type) {
        case MessageType::query: take_result(reply, out); break;
        case MessageType::update_count:
        case MessageType::delete_count: take_count(reply); break;
        case MessageType::insert_id: drop_insert(reply); break;
        case MessageType::end_of_reply: end(reply, reply.status); break;
        default: end_before(reply, TRN_OK); // a message that this call does not read, such as an output value
        }
    }
    return reply.status;
}

} // namespace tarn

using namespace tarn;

int32_t TRN_Execute_query_with_one(TRN_HANDLE* handle, const char* sql, void* value_area,
                                   uint32_t* type_word) {
    if (!value_area || !type_word) return TRN_ERR_ARGUMENT;
    const RunningCall conn(handle, sql);
    if (!conn) return TRN_ERR_ARGUMENT;
    const BoundParams params(*conn);
    const int32_t sent = submit(*conn, sql, params.get());
    return sent == TRN_OK ? read_single_value_reply(*conn, {value_area, type_word}) : sent;
}
