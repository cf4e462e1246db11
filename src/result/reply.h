// What all replies are made of: messages of one type byte each ("A" rows, "U" and "D" counts, "I" insert identifier, "E" and
// "F" error, "W" warning, "M" notice, "O" and "P" output values) up to the end of reply "K".
//
// A call that returns before the "K" of its reply leaves the rest behind with leave_reply; the next reply's begin_reply passes
// over it, so that nothing left unread is ever taken for an answer.
#pragma once

#include <cstdint>

#include "result/result_set.h"

namespace tarn {

inline constexpr uint8_t end_of_reply = 'K';

// Passes over what an earlier call left, and reads the first type byte. False when the stream broke.
bool begin_reply(Conn& conn, uint8_t& type) noexcept;

// The type byte of the message that follows an item: a byte that neither opens a message nor ends the reply separates two
// items and is passed over. False when the stream broke.
bool next_item(Conn& conn, uint8_t& type) noexcept;

// Looks at the byte behind a message: an end of reply is taken, anything else given back. False when the stream broke.
bool look_for_end(Conn& conn, bool& ended) noexcept;

// Remembers that the reply is not read to its end; type is the type byte read last (0: none, "K": nothing is left).
void leave_reply(Conn& conn, uint8_t type, ReplyRest rest = ReplyRest::messages) noexcept;

// Reads a server text, prints it in the given form ("... %s ...") and makes it the connection's error text. TRN_OK,
// TRN_ERR_NETWORK, or TRN_ERR_MEMORY: the reply is then left where it is.
int32_t take_server_text(Conn& conn, const char* print_form) noexcept;

// The answer to a command that is either taken ("K") or refused with a text, which becomes the error text without being
// printed. TRN_OK; TRN_ERR_SERVER after a refusal; TRN_ERR_NETWORK, TRN_ERR_MEMORY.
int32_t take_verdict(Conn& conn) noexcept;

// Reads a server text into the error text, without printing it. Statuses as above.
int32_t keep_server_text(Conn& conn) noexcept;

// Passes over a counted run of bytes. False when the stream broke, or when the count is negative: the reply is then left.
bool skip_counted(Conn& conn) noexcept;

// Reads an insert identifier of any length and keeps its first 31 bytes, also as the connection's last. False as above.
bool read_insert_id(Conn& conn, char (&id)[32]) noexcept;

// Before a request of size bytes goes out: a large one waits until the rest of the last reply has been passed over, because
// a server that is still sending that rest reads nothing. False when the stream broke.
bool make_way(Conn& conn, size_t size) noexcept;

// Receives the result items of a reply. Gives the rows of the last batch of rows, 0 without rows, -1 after a server error,
// warning or notice; TRN_ERR_NETWORK and TRN_ERR_MEMORY hand out no item. *head is the first item or null.
int32_t receive_results(Conn& conn, ResultSet*& head) noexcept;

} // namespace tarn
