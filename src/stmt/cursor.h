// Opening server cursors.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Opens a declared cursor. TRN_OK; TRN_ERR_SERVER after a refusal, whose text is then the error text;
// TRN_ERR_NETWORK, TRN_ERR_MEMORY. Needs the lock.
int32_t open_cursor(Conn& conn, const char* name) noexcept;

} // namespace tarn
