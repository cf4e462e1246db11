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

// The worst text of the server's among the messages of a reply.
enum class ServerText {
    none,
    warning, // or a notice
    error,
};

// One reply being read, message by message, and the status that the call gives for what has been read so far.
struct Reply {
    Conn& conn;
    const char* step = nullptr; // names the call in the line that a broken stream prints; null prints none
    uint8_t type = 0;           // of the message at hand
    int32_t status = TRN_OK;
    bool begun = false;
    bool ended = false;                       // nothing more is read; the status is final
    ServerText worst_text = ServerText::none; // during the reception of results
};

// Goes on to the next message. False when the reply has ended, or ends here because its stream broke.
bool next_message(Reply& reply) noexcept;

// The same between result items: a byte that neither opens a message nor ends the reply separates two items and is passed over.
bool next_item(Reply& reply) noexcept;

// Looks at the byte behind a message: an end of reply is taken and ends the reply, anything else is given back. True when the
// server ended the reply here.
bool ends_here(Reply& reply) noexcept;

void end(Reply& reply, int32_t status) noexcept;

// Ends the reply at the message at hand, which stays unread with all behind it.
void end_before(Reply& reply, int32_t status) noexcept;

// Ends the reply because its stream broke.
void end_broken(Reply& reply) noexcept;

// An "E", "F", "W" or "M" of a statement: printed, and made the error text. The status is -1 after an error, 1 after a warning or
// a notice.
void take_statement_text(Reply& reply) noexcept;

// The same during the reception of results, which prints other lines and counts all four as errors.
void take_result_text(Reply& reply) noexcept;

// Passes over what an earlier call left, and reads the first type byte. False when the stream broke.
bool begin_reply(Conn& conn, uint8_t& type) noexcept;

// Remembers that the reply is not read to its end; type is the type byte read last (0: none, "K": nothing is left).
void leave_reply(Conn& conn, uint8_t type, ReplyRest rest = ReplyRest::messages) noexcept;

// The answer to a command that is either taken ("K") or refused with a text, which becomes the error text without being
// printed. TRN_OK; TRN_ERR_SERVER after a refusal; TRN_ERR_NETWORK, TRN_ERR_MEMORY.
int32_t take_verdict(Conn& conn) noexcept;

// Reads a server text and makes it the connection's error text, without printing it. TRN_OK, TRN_ERR_NETWORK, or
// TRN_ERR_MEMORY: the reply is then left where it is.
int32_t keep_server_text(Conn& conn) noexcept;

// Reads the count of a run of bytes. False when the stream broke, or when the count is negative: the reply is then left.
bool read_count(Conn& conn, size_t& count) noexcept;

// Passes over a counted run of bytes. False as above.
bool skip_counted(Conn& conn) noexcept;

// Reads an insert identifier of any length and keeps its first 31 bytes, also as the connection's last. False as above.
bool read_insert_id(Conn& conn, char (&id)[32]) noexcept;

// Before a request of size bytes goes out: a large one waits until the rest of the last reply has been passed over, because
// a server that is still sending that rest reads nothing. False when the stream broke.
bool make_way(Conn& conn, size_t size) noexcept;

// Passes over the rows that follow, which have the item's columns; the item's own rows are dropped too. False when the stream
// broke.
bool pass_over_rows(Conn& conn, ResultSet& layout) noexcept;

// Receives the result items of a reply. Gives the rows of the last batch of rows, 0 without rows, -1 after a server error,
// warning or notice; TRN_ERR_NETWORK and TRN_ERR_MEMORY hand out no item. *head is the first item or null. worst_text, which may
// be null, tells an error from a warning.
int32_t receive_results(Conn& conn, ResultSet*& head, ServerText* worst_text = nullptr) noexcept;

// Receives the rows that a server cursor was asked for, into the empty item given or into a new one. Gives the number of
// rows, else as above; the item is empty after TRN_ERR_NETWORK and TRN_ERR_MEMORY.
int32_t receive_rowset(Conn& conn, OwnedResult& rowset) noexcept;

} // namespace tarn
