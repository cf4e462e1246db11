// Opening connections, and the record's life: it ends with the last of its holders.
#include <atomic>
#include <cstring>

#include "base/memory.h"
#include "conn/conn.h"
#include "conn/conn_string.h"
#include "conn/login.h"
#include "conn/messages.h"

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

// One entry under four names: callable with any arguments, without effect.
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
