// Prepared statements: their preparation and their end on the server.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Ends a prepared statement on the server, under the connection's lock. 0; -1 with the server's text; TRN_ERR_NETWORK or
// TRN_ERR_MEMORY. The default statement counts as gone afterwards, whatever the name.
int32_t deallocate(Conn& conn, const char* name) noexcept;

// Releases the columns that the last prepare described.
void forget_prepared_result(Conn& conn) noexcept;

} // namespace tarn
