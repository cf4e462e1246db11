// The calls of tarnsql_ext.h.
#include <atomic>
#include <cstring>

#include "base/text.h"
#include "conn/call.h"
#include "conn/login.h"
#include "conn/messages.h"
#include "conn/open.h"
#include "ext/check_string.h"
#include "tarnsql_ext.h"
#include "wire/cancel.h"
#include "wire/lines.h"
#include "wire/protocol_trace.h"

namespace tarn {

// Records of later versions are longer: bytes after the fields known here must be 0. False when the record
// asks for something that this version cannot do.
static bool take_options(const TRNX_OPTIONS* given, TRNX_OPTIONS& options) noexcept {
    options = {};
    if (!given) return true;
    if (given->size < sizeof options) return false;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(given);
    constexpr uint32_t largest = 4096;
    if (given->size > largest) return false;
    for (uint32_t i = sizeof options; i < given->size; ++i)
        if (bytes[i]) return false;
    options = *given;
    return (options.flags & ~TRNX_IGNORE_UNKNOWN_KEYS) == 0 && options.connect_timeout_ms >= 0 &&
           options.receive_timeout_ms >= 0 && options.keepalive_idle_s >= 0 &&
           options.keepalive_interval_s >= 0 && options.keepalive_count >= 0;
}

static void choose_receive_timeout(Conn& conn, int32_t timeout_ms) noexcept {
    conn.options.one_wait = timeout_ms > 0;
    conn.options.receive_timeout_ms = timeout_ms > 0 ? timeout_ms : default_receive_timeout_ms;
}

static void apply(const TRNX_OPTIONS& options, Conn& conn) noexcept {
    conn.options.connect_timeout_ms = options.connect_timeout_ms;
    choose_receive_timeout(conn, options.receive_timeout_ms);
    conn.options.keep_alive = {options.keepalive_idle_s, options.keepalive_interval_s,
                               options.keepalive_count};
}

static constexpr size_t error_area = 300;

static int32_t fail_connect(Conn& conn) noexcept {
    char reason[120];
    if (conn.channel.error)
        platform::describe_error(conn.channel.error, reason, sizeof reason);
    else
        std::snprintf(reason, sizeof reason, message::no_connection_in_time, conn.options.connect_timeout_ms);
    set_error_text(conn.head, format_text(error_area, message::cannot_connect, conn.settings.server,
                                          static_cast<int>(conn.settings.port), reason));
    return TRN_ERR_CONNECT;
}

static int32_t fail_login(Conn& conn, const char* reason) noexcept {
    set_error_text(conn.head,
                   format_text(error_area, message::login_not_accepted, conn.settings.server,
                               static_cast<int>(conn.settings.port), reason ? reason : message::no_answer));
    return TRN_ERR_LOGIN;
}

static int32_t connect(Conn& conn) noexcept {
    if (!conn.ips_attrs) return connect_server(conn) ? TRN_OK : fail_connect(conn);
    const OwnedAddressList list = copy_address_list(*conn.ips_attrs);
    if (!list) return TRN_ERR_MEMORY;
    choose_any(*list);
    return connect_one(conn, *list, 0) ? TRN_OK : fail_connect(conn);
}

static int32_t open(Conn& conn) noexcept {
    if (!provide_lock(conn)) return TRN_ERR_MEMORY;
    if (const int32_t status = connect(conn)) return status;
    Owned<char> reason;
    return login(conn, reason) ? TRN_OK : fail_login(conn, reason.get());
}

} // namespace tarn

using namespace tarn;

int32_t TRNX_OpenConn(const char* conn_string, const TRNX_OPTIONS* options, TRN_HANDLE* out_handle) {
    TRNX_OPTIONS chosen;
    if (!conn_string || !out_handle || !take_options(options, chosen)) return TRN_ERR_ARGUMENT;
    Conn* conn = publish_connection(out_handle);
    if (!conn) return TRN_ERR_MEMORY;
    const RunningCall call = RunningCall::without_lock(conn);
    Owned<char> words;
    const StringFault fault = check_conn_string(conn_string, words);
    const bool warned = fault == StringFault::unknown_key && (chosen.flags & TRNX_IGNORE_UNKNOWN_KEYS);
    if (words) set_error_text(conn->head, std::move(words));
    if (fault != StringFault::none && !warned) return TRN_ERR_ARGUMENT;
    take_settings(*conn, conn_string);
    apply(chosen, *conn);
    return open(*conn);
}

int32_t TRNX_SetReceiveTimeout(TRN_HANDLE* handle, int32_t timeout_ms) {
    if (timeout_ms < 0) return TRN_ERR_ARGUMENT;
    const RunningCall conn(handle);
    if (!conn) return TRN_ERR_ARGUMENT;
    choose_receive_timeout(*conn, timeout_ms);
    set_waits(conn->channel, conn->options);
    return TRN_OK;
}

int32_t TRNX_Cancel(TRN_HANDLE* handle) {
    if (!handle) return TRN_ERR_ARGUMENT;
    const Canceller canceller; // before the first read of the variable, which a close clears
    const TRN_HANDLE record = std::atomic_ref(*handle).load();
    Conn* conn = unlocked_conn_of(&record);
    if (!conn) return TRN_ERR_ARGUMENT;
    return canceller.cancel(conn->channel) ? 1 : 0;
}

int32_t TRNX_SetTrace(TRNX_TRACE callback, void* user) {
    set_line_sink(callback, user);
    return TRN_OK;
}

int32_t TRNX_SetProtocolTrace(int32_t level, int32_t text_limit) {
    if (level < TRNX_TRACE_OFF || level > TRNX_TRACE_VALUES || text_limit < 0) return TRN_ERR_ARGUMENT;
    set_trace(static_cast<TraceLevel>(level), text_limit);
    return TRN_OK;
}

const char* TRNX_Version(void) {
    return TRN_VERSION;
}
