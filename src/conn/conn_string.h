// The connection string: settings into the Conn, address lists into an IpsAttrs.
#pragma once

#include "conn/conn.h"

namespace tarn {

// False when the string was rejected as a whole (fewer than 5 bytes, no separator) or memory is short.
bool parse_conn_string(const char* text, Conn& conn) noexcept;

} // namespace tarn
