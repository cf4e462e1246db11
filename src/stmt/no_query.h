// The reply to a statement that is run for its count.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Reads the whole reply and gives the status of TRN_Execute_no_query. Needs the lock.
int32_t read_no_query_reply(Conn& conn) noexcept;

} // namespace tarn
