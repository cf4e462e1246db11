// Rows sent in chunks of up to 200, in the replies to single-value queries and procedure calls. After the
// first full chunk the client sends one "."; more rows follow.
#pragma once

#include "reply/reply.h"

namespace tarn {

enum class Chunks {
    all,
    two, // rows after the second chunk stay unread
};

// A new item with the columns of the current result; null when memory is short: the reply has then ended.
OwnedResult read_chunk_columns(Reply& reply) noexcept;

// Reads rows and the byte after them. The status becomes the size of the last chunk; the reply has ended if
// the server ended it there, or after a failure.
void read_chunks(Reply& reply, ResultSet& result, Chunks chunks) noexcept;

} // namespace tarn
