// The connection: opening it, running statements and reporting errors. The lines that the library prints are
// caught and become the shell's own messages; they also tell errors from warnings, which share a status.
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

    // A new connection is opened beside the old one, which stays when that fails. A handle never leaves its
    // variable, so that another thread can cancel what runs on it.
    TRN_HANDLE handles[2] = {nullptr, nullptr};
    std::atomic<std::size_t> current = 0;
};

// Prints a line on standard error, with control characters escaped.
void say(const std::string& text);
// The same, unless -q was given.
void note(const Session& session, const std::string& text);

// Catches the library's lines from now on.
void catch_library_lines();
// Drops those caught since the last call.
void drop_library_lines();

// Connects and logs in; the new connection replaces the old one. Fails with exit_connection.
void open_session(Session& session, const std::string& connection, int timeout_seconds);

// Connects again after a lost link and says what was lost; false when it cannot.
bool reconnect(Session& session);

// From another thread: ends the call that waits for the server. False when there is none.
bool cancel_call(Session& session);

// Call with the status of every call that talks to the server: prints warnings, and fails when the call has
// failed.
void check_call(Session& session, std::int32_t status);

// Runs one statement; the rows of queries go to the sink, everything else is printed as a note. A query is
// read through a server cursor, so that its rows are never all in memory.
void run_statement(Session& session, const std::string& sql, RowSink& sink);

// The columns of a query, without its rows. The query must allow a "WHERE" at its end.
std::vector<Column> describe(Session& session, const std::string& query);

// Tracks the transaction: call with every statement that has run.
void note_transaction(Session& session, const std::string& sql);

// A text attribute of the connection, and a number; empty and 0 when there is none.
std::string text_attribute(Session& session, std::int32_t id);
std::int32_t number_attribute(Session& session, std::int32_t id);

} // namespace tarnsh
