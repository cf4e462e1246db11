// The steps that all ways of opening a connection share.
#pragma once

#include "conn/conn.h"

namespace tarn {

// A record in the application's variable, at once: whatever fails later, the variable holds it. Null when
// memory is short.
Conn* publish_connection(TRN_HANDLE* out_handle) noexcept;

inline constexpr int32_t default_receive_timeout_ms = 30 * 60 * 1000;

// The settings of a connection string, and the default waits.
void take_settings(Conn& conn, const char* conn_string) noexcept;

// The connection's lock, made where there is none yet.
bool provide_lock(Conn& conn) noexcept;

// Connects to the list's current address, then to further ones as long as servers refuse: number, growing by
// 3, modulo the addresses left tells which.
bool connect_one(Conn& conn, IpsAttrs& list, int64_t number) noexcept;

} // namespace tarn
