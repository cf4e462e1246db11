// Opening server cursors.
#pragma once

#include "result/result_set.h"

namespace tarn {

// Opens a declared cursor. TRN_OK; TRN_ERR_SERVER after a refusal, whose text is then the error text; TRN_ERR_NETWORK,
// TRN_ERR_MEMORY. Needs the lock.
int32_t open_cursor(Conn& conn, const char* name) noexcept;

// Gives the columns of an opened cursor, the first item of the reply to its declaration, to the application's variable, if
// there is one. An application does not look for further items there: they are released.
void hand_out_columns(ResultSet* declared, TRN_HANDLE* out) noexcept;

} // namespace tarn
