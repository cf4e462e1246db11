// Numbered attributes of connections and results, the last insert identifier, the last function's return
// type. Only the server's version takes a round trip.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/bytes.h"
#include "base/text.h"
#include "conn/call.h"
#include "conn/messages.h"
#include "reply/result_set.h"
#include "reply/type_codes.h"
#include "result/working_text.h"
#include "stmt/single_value.h"
#include "stmt/submit.h"

namespace tarn {

namespace {

// Where an answer goes; type and length may be null.
struct Answer {
    void* value;
    int32_t* type;
    int32_t* length;
};

} // namespace

static int32_t give(const Answer& answer, int32_t type, const void* bytes, size_t length) noexcept {
    std::memcpy(answer.value, bytes, length);
    if (answer.type) *answer.type = type;
    if (answer.length) *answer.length = static_cast<int32_t>(length);
    return TRN_OK;
}

static int32_t give_text(const Answer& answer, std::string_view text) noexcept {
    return give(answer, TRN_ATTR_TEXT, text.data(), text.size());
}
static int32_t give_number(const Answer& answer, int32_t number) noexcept {
    return give(answer, TRN_ATTR_INT32, &number, sizeof number);
}
static int32_t give_number(const Answer& answer, int64_t number) noexcept {
    return give(answer, TRN_ATTR_INT64, &number, sizeof number);
}

static int32_t refuse(Handle& handle, const char* error, int32_t status) noexcept {
    set_error_message(handle, error);
    return status;
}

static int32_t give_addresses(const Conn& conn, const Answer& answer) noexcept {
    if (!conn.ips_attrs) return TRN_ERR_ARGUMENT;
    const IpsAttrs& list = *conn.ips_attrs;
    char* const start = static_cast<char*>(answer.value);
    WorkingText count;
    count.add_integer(list.count);
    char* end = std::copy(count.text().begin(), count.text().end(), start);
    for (int32_t i = 0; i < list.count; ++i) {
        *end++ = i ? ',' : ':';
        end = std::copy_n(list.addresses[i], std::strlen(list.addresses[i]), end);
    }
    if (answer.type) *answer.type = TRN_ATTR_TEXT;
    if (answer.length) *answer.length = static_cast<int32_t>(end - start);
    return TRN_OK;
}

// The server chooses this text: the only answer that is cut to the application's buffer.
static int32_t ask_version(Conn& conn, const Answer& answer, int32_t capacity) noexcept {
    char area[value_area_size] = {};
    uint32_t type_word = 0;
    int32_t status = submit(conn, message::show_version);
    if (status == TRN_OK) status = read_single_value_reply(conn, {area, &type_word});
    const Owned<char> handed_over(type_word >= TRN_HANDED_OVER ? load<char*>(area + 4) : nullptr);
    const size_t length = handed_over ? load<uint32_t>(area) : strnlen(area, sizeof area);
    const std::string_view text(handed_over ? handed_over.get() : area, length);
    const auto room = std::max(static_cast<size_t>(std::max(capacity, 0)), value_area_size);
    give_text(answer, text.substr(0, room));
    return status;
}

static int32_t connection_attribute(Conn& conn, int32_t id, int32_t capacity, const Answer& answer) noexcept {
    switch (id) {
    case TRN_ATTR_CONN_VERSION: return ask_version(*RunningCall::without_lock(&conn), answer, capacity);
    case TRN_ATTR_CONN_DATABASE: return give_text(answer, conn.settings.database);
    case 3: return give_number(answer, 2);
    case TRN_ATTR_CONN_ENCODING: return give_text(answer, "UTF-8");
    case TRN_ATTR_CONN_CHARSET: return give_text(answer, conn.settings.char_set);
    case TRN_ATTR_CONN_ENCRYPTED: return give_number(answer, conn.settings.use_ssl);
    case TRN_ATTR_CONN_ADDRESSES: return give_addresses(conn, answer);
    case TRN_ATTR_CONN_TIME_ZONE: return give_text(answer, "GTM+8");
    case TRN_ATTR_CONN_LOB_DESCRIPTORS: return give_number(answer, conn.settings.lob_descriptor);
    case TRN_ATTR_CONN_AUTO_COMMIT_OFF: return give_number(answer, conn.settings.auto_commit_off);
    case TRN_ATTR_CONN_CURSORS_OFF: return give_number(answer, conn.settings.srv_cursor_off);
    default: return refuse(conn.head, message::connection_attribute_unknown, TRN_ERR_ARGUMENT);
    }
}

static int32_t result_attribute(ResultSet& result, int32_t id, const Answer& answer) noexcept {
    switch (id) {
    case TRN_ATTR_RESULT_COLUMNS: return give_number(answer, result.column_count);
    case TRN_ATTR_RESULT_ROWS: return give_number(answer, result.row_count);
    case TRN_ATTR_RESULT_AFFECTED: return give_number(answer, result.affected);
    case 64: return give_number(answer, 4);
    case TRN_ATTR_RESULT_KIND: return give_number(answer, result.kind);
    case TRN_ATTR_RESULT_FOLLOWED: return give_number(answer, result.next ? 1 : 0);
    default: return refuse(result.head, message::result_attribute_unknown, TRN_ERR_ARGUMENT);
    }
}

} // namespace tarn

using namespace tarn;

int32_t TRN_GetAttr(TRN_HANDLE* handle, int32_t id, void* out_value, int32_t capacity, int32_t* out_type,
                    int32_t* out_len) {
    const Answer answer{out_value, out_type, out_len};
    const int32_t kind = kind_of(handle);
    if (kind == TRN_KIND_PARAMETERS || kind == TRN_KIND_LOB) return TRN_OK; // kinds without attributes
    if (!out_value) return TRN_ERR_ARGUMENT;
    if (Conn* conn = unlocked_conn_of(handle)) return connection_attribute(*conn, id, capacity, answer);
    if (ResultSet* result = result_of(handle)) return result_attribute(*result, id, answer);
    return TRN_ERR_ARGUMENT;
}

// Only stored: auto-commit takes effect at the next login.
int32_t TRN_SetAttr(TRN_HANDLE* handle, int32_t id, void* value) {
    if (!handle || !*handle) return TRN_ERR_ARGUMENT;
    Conn* conn = unlocked_conn_of(handle);
    if (!conn) return TRN_OK;
    switch (id) {
    case TRN_ATTR_CONN_AUTO_COMMIT_OFF: {
        if (!value) return TRN_ERR_ARGUMENT;
        const char* text = static_cast<const char*>(value);
        // "ON" turns auto-commit off, the opposite of the connection string's key; applications rely on it.
        conn->settings.auto_commit_off = equal_ignoring_case(text, "ON") || equal_ignoring_case(text, "TRUE");
        return TRN_OK;
    }
    case TRN_ATTR_CONN_CURSORS_OFF:
        conn->settings.srv_cursor_off = static_cast<int32_t>(reinterpret_cast<intptr_t>(value));
        return TRN_OK;
    default: return refuse(conn->head, message::connection_attribute_unsettable, -1);
    }
}

int32_t TRN_GetLastInsertId(TRN_HANDLE* handle, char* out_text) {
    const Conn* conn = unlocked_conn_of(handle);
    if (!conn || !out_text) return TRN_ERR_ARGUMENT;
    std::strcpy(out_text, conn->last_insert_id);
    return TRN_OK;
}

int32_t TRN_GetFunReturnType(TRN_HANDLE* handle, int32_t* out_type) {
    const Conn* conn = unlocked_conn_of(handle);
    if (!conn || !out_type) return TRN_ERR_ARGUMENT;
    if (conn->fun_return_type < 1) return -1;
    *out_type = wire_type(conn->fun_return_type).api_code;
    return TRN_OK;
}
