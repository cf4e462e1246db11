// The login that follows a connect.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Connects the socket to the connection's server and port, closing an open one first. On false no socket is
// open.
bool connect_server(Conn& conn) noexcept;

// Logs in on the connected socket. On false the socket is closed, the login's own error text is set, and
// reason holds the server's text, if any. Takes no lock: the connection is not in use yet, or the caller
// holds it.
bool login(Conn& conn, Owned<char>& reason) noexcept;

} // namespace tarn
