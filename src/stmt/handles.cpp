// The end of handles of every kind, and clearing them: the one place that knows all records.
#include <cstddef>

#include "base/memory.h"
#include "base/wipe.h"
#include "lob/lob.h"
#include "result/result_set.h"
#include "stmt/param_set.h"
#include "stmt/prepared.h"
#include "wire/receive.h"

namespace tarn {

static void forget_kept_rowset(Conn& conn) noexcept {
    release_result(conn.kept_rowset);
    conn.kept_rowset = nullptr;
}

// Leaves a record in which results that outlive the connection find it closed: no socket, no lock.
static void close_connection(Conn* conn) noexcept {
    if (conn->default_prepared && conn->sock) deallocate_default(*conn);
    break_link(*conn);
    platform::destroy_lock(conn->lock);
    set_error_text(conn->head, nullptr);
    release_address_list(conn->ips_attrs);
    detach_params(*conn);
    release_result(conn->prepared_result);
    forget_kept_rowset(*conn);
    conn->head.kind = 0;
    // The password, and what the buffers still hold: everything behind the head and the count of references.
    wipe(conn->database, sizeof *conn - offsetof(Conn, database));
    drop_reference(conn);
}

} // namespace tarn

using namespace tarn;

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
    case TRN_KIND_CONNECTION: forget_kept_rowset(*conn_of(handle)); [[fallthrough]];
    case TRN_KIND_PARAMETERS: return TRN_ResetParams(handle);
    case TRN_KIND_LOB: return TRN_Reset_Lob(handle);
    default: return TRN_OK;
    }
}
