// How a reply is read: a loop over its messages, each opened by its type, up to the end of reply.
//
// A call that returns before the end of its reply leaves the rest unread (see unread.h).
#pragma once

#include <cstdint>

#include "reply/result_set.h"
#include "reply/unread.h"

namespace tarn {

// The worst kind of server text in a reply.
enum class ServerText {
    none,
    warning, // or a notice
    error,
};

// One reply being read, message by message, and the status of the call so far.
struct Reply {
    Conn& conn;
    const char* step = nullptr; // names the call in the line that a broken channel prints; null prints none
    MessageType type = MessageType::none; // of the message at hand
    int32_t status = TRN_OK;
    bool begun = false;
    bool ended = false;                       // nothing more is read; the status is final
    ServerText worst_text = ServerText::none; // among results
};

// Moves to the next message. False when the reply has ended, or ends here because its channel broke.
bool next_message(Reply& reply) noexcept;

// The same in the reply to a statement, where the server's texts ("E", "F", "W", "M") are handled on the way:
// printed, and made the error text. The status is -1 after an error, 1 after a warning or a notice.
bool next_of_statement(Reply& reply) noexcept;

// The same between result items: a byte that neither opens a message nor ends the reply separates two items
// and is skipped. Texts are printed with other prefixes, and all count as errors.
bool next_item(Reply& reply) noexcept;

// Reads the byte after a message: an end of reply ends the reply, anything else is pushed back. True when the
// server ended the reply here.
bool ends_here(Reply& reply) noexcept;

void end(Reply& reply, int32_t status) noexcept;

// Ends the reply before the current message, which stays unread with everything after it.
void end_before(Reply& reply, int32_t status) noexcept;

// Ends the reply because its channel broke.
void end_broken(Reply& reply) noexcept;

// Ends the reply when memory is short and the rest cannot be skipped: the channel is closed.
void end_out_of_memory(Reply& reply) noexcept;

// The answer to a command that is either accepted ("K") or refused with a text, which becomes the error text
// without being printed. TRN_OK; TRN_ERR_SERVER after a refusal; TRN_ERR_NETWORK, TRN_ERR_MEMORY.
int32_t take_verdict(Conn& conn) noexcept;

// Reads a server text and makes it the connection's error text, without printing it. TRN_OK, TRN_ERR_NETWORK,
// or TRN_ERR_MEMORY: the reply is left where it is then.
int32_t keep_server_text(Conn& conn) noexcept;

// Reads an insert identifier of any length and keeps its first 31 bytes, also as the connection's last. False
// when the channel broke or the identifier's count is negative.
bool read_insert_id(Conn& conn, char (&id)[32]) noexcept;

// Receives the result items of a reply. Gives the rows of the last batch of rows, 0 without rows, -1 after a
// server error, warning or notice; TRN_ERR_NETWORK and TRN_ERR_MEMORY return no item. *head is the first item
// or null. worst_text, which may be null, tells an error from a warning.
int32_t receive_results(Conn& conn, ResultSet*& head, ServerText* worst_text = nullptr) noexcept;

// Receives the rows that a server cursor was asked for, into the empty item given or into a new one. Gives
// the number of rows, else as above; the item is empty after TRN_ERR_NETWORK and TRN_ERR_MEMORY.
int32_t receive_rowset(Conn& conn, OwnedResult& rowset) noexcept;

} // namespace tarn
