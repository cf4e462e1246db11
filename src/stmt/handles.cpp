// Releasing and clearing handles of every kind: the only place that knows all records.
#include <atomic>
#include <cstddef>

#include "base/memory.h"
#include "base/wipe.h"
#include "lob/lob.h"
#include "reply/result_set.h"
#include "stmt/param_set.h"
#include "stmt/prepared.h"
#include "wire/cancel.h"

namespace tarn {

// Leaves a record that results outliving the connection see as closed: no socket, no lock. A canceller may
// still hold the record, so the variable it came from is cleared first, and then no canceller is left.
static void close_connection(Conn* conn, TRN_HANDLE* handle) noexcept {
    if (conn->default_prepared && is_open(conn->channel)) deallocate_default(*conn);
    std::atomic_ref(*handle).store(nullptr);
    wait_for_cancellers();
    close_channel(conn->channel);
    platform::destroy_lock(conn->lock);
    set_error_text(conn->head, nullptr);
    release_address_list(conn->ips_attrs);
    detach_params(*conn);
    conn->head.kind = 0;
    // The password, and what is left in the buffers: everything after the head and the reference count.
    wipe(&conn->settings, sizeof *conn - offsetof(Conn, settings));
    drop_reference(conn);
}

} // namespace tarn

using namespace tarn;

int32_t TRN_CloseConn(TRN_HANDLE* handle) {
    if (!handle || !*handle) return -1;
    Conn* conn = unlocked_conn_of(handle);
    if (!conn) return TRN_ERR_ARGUMENT;
    close_connection(conn, handle);
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
