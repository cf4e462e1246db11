// Opening and closing connections, dropping handles of any kind, and the small accessors of a connection.
#include <atomic>
#include <cstring>

#include "base/memory.h"
#include "base/wipe.h"
#include "conn/conn.h"
#include "conn/conn_string.h"
#include "conn/login.h"
#include "conn/messages.h"
#include "result/result_set.h"
#include "result/type_codes.h"
#include "stmt/param_set.h"
#include "stmt/prepared.h"
#include "wire/receive.h"

namespace tarn {

static int32_t open_connection(Conn& conn, const char* conn_string) noexcept {
    conn.lock_timeout = 300;
    std::strcpy(conn.protocol_version, "301");
    // A string that cannot be parsed leaves the settings empty: the connect or the login then fails.
    parse_conn_string(conn_string, conn);
    conn.login_state = 123;
    conn.recv_timeout_ms = 30 * 60 * 1000;
    conn.lock = platform::create_lock();
    if (!conn.lock || !connect_server(conn)) {
        set_error_message(conn.head, message::connect_failed);
        return TRN_ERR_CONNECT;
    }
    if (!login(conn)) {
        set_error_message(conn.head, message::login_failed);
        return TRN_ERR_LOGIN;
    }
    return TRN_OPENED;
}

Conn* retain(Conn& conn) noexcept {
    std::atomic_ref(conn.references).fetch_add(1, std::memory_order_relaxed);
    return &conn;
}

void drop_reference(Conn* conn) noexcept {
    if (std::atomic_ref(conn->references).fetch_sub(1, std::memory_order_acq_rel) == 1) release(conn);
}

// Leaves a record in which results that outlive the connection find it closed: no socket, no lock.
static void close_connection(Conn* conn) noexcept {
    if (conn->default_prepared && conn->sock) deallocate(*conn, conn->default_statement);
    break_link(*conn);
    platform::destroy_lock(conn->lock);
    release(conn->head.error_text);
    release_address_list(conn->ips_attrs);
    detach_params(*conn);
    release_result(conn->prepared_result);
    const int32_t references = conn->references;
    wipe(conn, sizeof *conn); // the password, and what the buffers still hold
    conn->references = references;
    drop_reference(conn);
}

} // namespace tarn

using namespace tarn;

int32_t TRN_OpenConn(const char* conn_string, TRN_HANDLE* out_handle) {
    if (!conn_string) return -1;
    if (!out_handle) return TRN_ERR_ARGUMENT;
    platform::start_sockets();
    Conn* conn = allocate_record<Conn>();
    if (!conn) return -1;
    conn->head.kind = TRN_KIND_CONNECTION;
    conn->references = 1;
    *out_handle = conn;
    return open_connection(*conn, conn_string);
}

int32_t TRN_CloseConn(TRN_HANDLE* handle) {
    if (!handle || !*handle) return -1;
    Conn* conn = conn_of(handle);
    if (!conn) return TRN_ERR_ARGUMENT;
    close_connection(conn);
    *handle = nullptr;
    return TRN_OK;
}

void TRN_Drop(TRN_HANDLE* handle) {
    switch (kind_of(handle)) {
    case TRN_KIND_CONNECTION: TRN_CloseConn(handle); break;
    case TRN_KIND_PARAMETERS: drop_params(handle); break;
    case TRN_KIND_RESULT: TRN_FreeRowset(handle); break;
    case TRN_KIND_LOB: TRN_Distroy_Lob(handle); break;
    case TRN_KIND_RESERVED: *handle = nullptr; break;
    default: break;
    }
}

int32_t TRN_Reset(TRN_HANDLE* handle) {
    if (!handle || !*handle) return TRN_ERR_ARGUMENT;
    switch (kind_of(handle)) {
    case TRN_KIND_CONNECTION:
    case TRN_KIND_PARAMETERS: return TRN_ResetParams(handle);
    case TRN_KIND_LOB: return TRN_Reset_Lob(handle);
    default: return TRN_OK;
    }
}

int32_t TRN_GetLastInsertId(TRN_HANDLE* handle, char* out_text) {
    const Conn* conn = conn_of(handle);
    if (!conn || !out_text) return TRN_ERR_ARGUMENT;
    std::strcpy(out_text, conn->last_insert_id);
    return TRN_OK;
}

int32_t TRN_GetFunReturnType(TRN_HANDLE* handle, int32_t* out_type) {
    const Conn* conn = conn_of(handle);
    if (!conn || !out_type) return TRN_ERR_ARGUMENT;
    if (conn->fun_return_type < 1) return -1;
    *out_type = wire_type(conn->fun_return_type).api_code;
    return TRN_OK;
}

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
