// Fetching a large object's content from the server by its descriptor.
#pragma once

#include <string_view>

#include "conn/conn.h"
#include "lob/lob.h"

namespace tarn {

// Replaces a large object's content with that of a descriptor, under the connection's lock. TRN_OK, even when
// the server answers with anything but a result; TRN_ERR_ARGUMENT when memory is short; TRN_ERR_NETWORK.
// After a failure the object is not complete.
int32_t fetch_lob(Conn& conn, Lob& lob, std::string_view descriptor) noexcept;

} // namespace tarn
