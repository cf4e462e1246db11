// Opening connections, reconnecting, and the lifetime of the record, which ends with its last holder.
#include <atomic>
#include <cstring>

#include "base/memory.h"
#include "base/references.h"
#include "base/text.h"
#include "conn/call.h"
#include "conn/conn_string.h"
#include "conn/login.h"
#include "conn/messages.h"
#include "conn/open.h"
#include "wire/protocol_trace.h"

namespace tarn {

static constexpr int32_t default_lock_timeout = 300;

Conn* publish_connection(TRN_HANDLE* out_handle) noexcept {
    platform::start_sockets();
    start_trace();
    Conn* conn = allocate_record<Conn>();
    if (!conn) return nullptr;
    conn->head.kind = TRN_KIND_CONNECTION;
    conn->references = 1;
    std::atomic_ref(*out_handle).store(conn); // for a canceller
    return conn;
}

void take_settings(Conn& conn, const char* conn_string) noexcept {
    conn.settings.lock_timeout = default_lock_timeout;
    // A string that cannot be parsed leaves the settings empty: the connect or the login then fails.
    parse_conn_string(conn_string, conn);
    std::strcpy(conn.protocol_version, "301");
    conn.options = {};
    conn.options.receive_timeout_ms = default_receive_timeout_ms;
}

bool provide_lock(Conn& conn) noexcept {
    if (!conn.lock) conn.lock = platform::create_lock();
    return conn.lock != nullptr;
}

static int32_t fail(Conn& conn, const char* error, int32_t status) noexcept {
    set_error_message(conn.head, error);
    return status;
}

static int32_t open_connection(Conn& conn) noexcept {
    if (!provide_lock(conn) || !connect_server(conn))
        return fail(conn, message::connect_failed, TRN_ERR_CONNECT);
    Owned<char> reason; // unused: the texts of this call are fixed
    return login(conn, reason) ? TRN_OPENED : fail(conn, message::login_failed, TRN_ERR_LOGIN);
}

// The record in which a search continues, or a fresh one, stored in the application's variable. An earlier
// record is released on request only: the application may hold it in another variable. Null when memory is
// short.
static IpsAttrs* begin_search(const IpsAttrs& addresses, int32_t number, void** state) noexcept {
    if (number > 1 && *state) {
        IpsAttrs* list = static_cast<IpsAttrs*>(*state);
        choose_by_number(*list, number);
        return list;
    }
    if (number == -1) Release_IpsAttrs(state);
    IpsAttrs* list = copy_address_list(addresses).release();
    if (list) {
        choose_any(*list);
        *state = list;
    }
    return list;
}

// Adding 3, modulo the addresses left, spreads the clients over a server group.
bool connect_one(Conn& conn, IpsAttrs& list, int64_t number) noexcept {
    for (;;) {
        copy_to_field(conn.settings.server, sizeof conn.settings.server, list.addresses[list.current]);
        if (connect_server(conn)) return true;
        if (list.remaining < 2) return false;
        set_current_aside(list);
        number += 3;
        choose_by_number(list, number);
    }
}

static int32_t open_one(Conn& conn, int32_t number, void** state) noexcept {
    if (!conn.ips_attrs) return TRN_ERR_ARGUMENT;
    IpsAttrs* list = begin_search(*conn.ips_attrs, number, state);
    if (!list) return TRN_ERR_MEMORY;
    conn.settings.lock_timeout = default_lock_timeout; // whatever the string says
    if (!connect_one(conn, *list, number)) return fail(conn, message::list_connect_failed, TRN_ERR_CONNECT);
    Owned<char> reason;
    if (!login(conn, reason)) {
        constexpr size_t error_area = 80;
        set_error_text(conn.head, format_text(error_area, message::list_login_failed, conn.settings.server));
        return TRN_ERR_LOGIN;
    }
    if (provide_lock(conn)) return TRN_OK;
    close_channel(conn.channel);
    return TRN_ERR_MEMORY;
}

Conn* retain(Conn& conn) noexcept {
    add_reference(conn.references);
    return &conn;
}

void drop_reference(Conn* conn) noexcept {
    if (remove_reference(conn->references)) release(conn);
}

} // namespace tarn

using namespace tarn;

int32_t TRN_OpenConn(const char* conn_string, TRN_HANDLE* out_handle) {
    if (!conn_string) return -1;
    if (!out_handle) return TRN_ERR_ARGUMENT;
    Conn* conn = publish_connection(out_handle);
    if (!conn) return -1;
    const RunningCall call = RunningCall::without_lock(conn);
    take_settings(*conn, conn_string);
    return open_connection(*conn);
}

int32_t TRN_OpenConn_Ips(const char* conn_string, int32_t try_number, void** ips_state,
                         TRN_HANDLE* out_handle) {
    if (!conn_string || !ips_state || !out_handle) return TRN_ERR_ARGUMENT;
    Conn* conn = publish_connection(out_handle);
    if (!conn) return TRN_ERR_MEMORY;
    const RunningCall call = RunningCall::without_lock(conn);
    take_settings(*conn, conn_string);
    return open_one(*conn, try_number, ips_state);
}

int32_t Release_IpsAttrs(void** ips_state) {
    if (!ips_state || !*ips_state) return -1;
    release_address_list(static_cast<IpsAttrs*>(*ips_state));
    *ips_state = nullptr;
    return TRN_OK;
}

int32_t TRN_ReconnectConn(TRN_HANDLE* handle) {
    const RunningCall conn = RunningCall::without_lock(unlocked_conn_of(handle));
    if (!conn) return TRN_ERR_ARGUMENT;
    conn->default_prepared = 0; // it died with the session
    if (!provide_lock(*conn) || !connect_server(*conn))
        return fail(*conn, message::reconnect_failed, TRN_ERR_CONNECT);
    Owned<char> reason;
    return login(*conn, reason) ? TRN_RECONNECTED : fail(*conn, message::relogin_failed, TRN_ERR_LOGIN);
}

// One function under four names, which ignores its arguments and does nothing.
int32_t GetConnStr(...) {
    return 0;
}
int32_t SetConnStr(...) {
    return 0;
}
int32_t TRN_LobWrite_SetPos(...) {
    return 0;
}
int32_t TRN_GetErrorInfoOption(...) {
    return 0;
}
