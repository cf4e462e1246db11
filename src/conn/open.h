// The steps that all ways of opening a connection share.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Makes the record and stores it in the application's variable at once, so that later failures leave it
// there. Null when memory is short.
Conn* publish_connection(TRN_HANDLE* out_handle) noexcept;

inline constexpr int32_t default_receive_timeout_ms = 30 * 60 * 1000;

// Applies a connection string, and the default time-outs.
void take_settings(Conn& conn, const char* conn_string) noexcept;

// The connection's lock, made if there is none yet.
bool provide_lock(Conn& conn) noexcept;

// Connects to the list's current address, then to others as long as servers refuse: each time number grows by
// 3, and modulo the addresses left it selects the next.
bool connect_one(Conn& conn, IpsAttrs& list, int64_t number) noexcept;

} // namespace tarn
