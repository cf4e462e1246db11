// The connection: opening it, running statements on it, and saying what went wrong. The lines that the library prints are caught and
// come out here as the shell's own messages; they also tell errors from warnings, which share a status.
#pragma once

#include "failure.h"
#include "rows.h"
#include "tarnsql.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Session {
    bool connected = false;
    bool in_transaction = false; // as far as the shell's own statements tell
    bool auto_commit = true;
    bool cursors = true;            // queries run through a server cursor
    bool descriptors = false;       // large objects come as descriptors
    bool quiet = false;             // warnings and errors only
    bool silent = false;            // not even warnings
    bool (*is_stopped)() = nullptr; // asked between rows
    std::string connection{};       // the string that it was opened with

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    TRN_HANDLE* handle() { return &handles[current]; }

    // A connection is opened beside the one before, which stays when that fails. A handle never leaves its variable, so that another
    // thread can cancel what runs on it.
    TRN_HANDLE handles[2] = {nullptr, nullptr};
    std::atomic<std::size_t> current = 0;
};

// A line on standard error; control characters in it are escaped.
void say(const std::string& text);
// The same for what -q leaves out.
void note(const Session& session, const std::string& text);

// From then on the library's lines come out as the shell's own messages.
void catch_library_lines();
// Drops those that came since the last call.
void drop_library_lines();

// Connects and logs in, in place of the connection before. Fails with exit_connection.
void open_session(Session& session, const std::string& connection, int timeout_seconds);

// Connects again after a lost link and says so, and what is lost; false when it cannot.
bool reconnect(Session& session);

// From another thread: ends the call that waits for the server. False when there is none.
bool cancel_call(Session& session);

// To be called with the status of every call that talks to the server: passes warnings on and fails when the
// call has.
void check_call(Session& session, std::int32_t status);

// Runs one statement; the rows of queries go to the sink, everything else is told in a note. A query is read
// through a server cursor, so that its rows never lie in memory all at once.
void run_statement(Session& session, const std::string& sql, RowSink& sink);

// The columns that a query gives, without its rows. It must be one that "WHERE" can follow.
std::vector<Column> describe(Session& session, const std::string& query);

// Follows what a statement that has run means for the transaction.
void note_transaction(Session& session, const std::string& sql);

// A text attribute of the connection, and a number; empty and 0 when there is none.
std::string text_attribute(Session& session, std::int32_t id);
std::int32_t number_attribute(Session& session, std::int32_t id);

} // namespace tarnsh
