// The reply to a statement run for its count.
#pragma once

#include "conn/conn.h"

namespace tarn {

// Names the call in the line that a broken stream prints.
inline constexpr char no_query_step[] = "recv_noQuery";

// Reads the whole reply and returns the status of TRN_Execute_no_query. Needs the lock.
int32_t read_no_query_reply(Conn& conn) noexcept;

} // namespace tarn
