// The unread rest of a reply. The connection remembers it, and the next request skips it first, so that it is
// never taken for an answer.
#pragma once

#include <cstddef>

#include "reply/result_set.h"

namespace tarn {

// Remembers that the reply was not read to its end. type is the last message type read, and is pushed back;
// none if it was already handled. After an end of reply nothing is left.
void leave_reply(Conn& conn, MessageType type) noexcept;

// The same when only the message of that type (or none) and an end of reply can follow.
void leave_reply_before_end(Conn& conn, MessageType type = MessageType::none) noexcept;

// Skips what is left of the last reply, and reads the first message type of the next one. False when the
// channel broke.
bool begin_reply(Conn& conn, MessageType& type) noexcept;

// Called before a request of size bytes is sent: before a large one the rest of the last reply is skipped,
// because a server still sending it does not read. False when the channel broke.
bool finish_last_reply(Conn& conn, size_t request_size) noexcept;

// Skips the rows that follow, which have the item's columns; drops the item's own rows too. False when the
// channel broke.
bool skip_rows(Channel& channel, ResultSet& layout) noexcept;

// Reads the length of a byte run. False when the channel broke, or when the length is negative: the rest of
// the reply is then left unread.
bool read_count(Conn& conn, size_t& count) noexcept;

// Skips a byte run with its length. False as above.
bool skip_counted(Conn& conn) noexcept;

} // namespace tarn
