// What a call leaves unread of its reply. The connection remembers it, and the next request first skips it,
// so that nothing left unread is ever taken for an answer.
#pragma once

#include <cstddef>

#include "reply/result_set.h"

namespace tarn {

// Remembers that the reply is not read to its end. type was read last and is pushed back; none when it was
// not or belongs to what is read already; after an end of reply nothing is left.
void leave_reply(Conn& conn, MessageType type) noexcept;

// The same where nothing but the message of that type, or nothing at all, and an end of reply can come.
void leave_reply_before_end(Conn& conn, MessageType type = MessageType::none) noexcept;

// Skips what is left of the last reply, and reads the first message type of the next one. False when the
// channel broke.
bool begin_reply(Conn& conn, MessageType& type) noexcept;

// Before a request of size bytes goes out: a large one waits until the rest of the last reply has been
// skipped, because a server that is still sending that rest reads nothing. False when the channel broke.
bool finish_last_reply(Conn& conn, size_t request_size) noexcept;

// Skips the rows that follow, which have the item's columns; the item's own rows are dropped too. False when
// the channel broke.
bool skip_rows(Channel& channel, ResultSet& layout) noexcept;

// Reads the count of a run of bytes. False when the channel broke, or when the count is negative: the reply
// is left then.
bool read_count(Conn& conn, size_t& count) noexcept;

// Skips a counted run of bytes. False as above.
bool skip_counted(Conn& conn) noexcept;

} // namespace tarn
