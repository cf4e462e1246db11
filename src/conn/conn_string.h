// The connection string: settings, and the address list.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Reads a connection string into a connection's settings and address list. False when the string was rejected as a whole (fewer
// than 5 bytes, no separator) or memory is short.
bool parse_conn_string(const char* text, Conn& conn) noexcept;

} // namespace tarn
