// Rows that travel in chunks of up to 200, inside the replies to single-value queries and procedure calls.
// After the first full chunk the client sends one "."; more rows follow.
#pragma once

#include "reply/reply.h"

namespace tarn {

enum class Chunks {
    all,
    two, // rows behind the second chunk stay unread
};

// A new item with the columns of the result at hand; null when memory is short: the reply has then ended.
OwnedResult read_chunk_columns(Reply& reply) noexcept;

// Reads rows and looks at the byte behind them. The status becomes the size of the last chunk; the reply has
// ended when the server ended it there, or with a failure.
void read_chunks(Reply& reply, ResultSet& result, Chunks chunks) noexcept;

} // namespace tarn
