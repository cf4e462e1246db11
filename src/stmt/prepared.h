// Preparing statements and ending them on the server.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Ends the default statement on the server, under the connection's lock. 0; -1 with the server's text;
// TRN_ERR_NETWORK or TRN_ERR_MEMORY.
int32_t deallocate_default(Conn& conn) noexcept;

} // namespace tarn
