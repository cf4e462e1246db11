// The login that follows a connect.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Connects the socket to the connection's server and port, closing an open one first. False leaves no socket.
bool connect_server(Conn& conn) noexcept;

// Logs in on the connected socket. False leaves no socket and the login's own error text, and in reason what
// the server said, if anything. Takes no lock: the connection is not in use yet, or the caller holds it.
bool login(Conn& conn, Owned<char>& reason) noexcept;

} // namespace tarn
