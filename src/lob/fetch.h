// Fetching a large object's content from the server by its descriptor.
#pragma once

#include "conn/conn.h"
#include "lob/lob.h"

namespace tarn {

// Fills the large object with what its descriptor designates, under the connection's lock. TRN_OK, also when the server
// answers with anything but a result; TRN_ERR_ARGUMENT when memory is short; TRN_ERR_NETWORK.
int32_t fetch_lob(Conn& conn, Lob& lob) noexcept;

} // namespace tarn
