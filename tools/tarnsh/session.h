// The connection: opening it, running statements on it, and saying what went wrong. What the library prints on
// standard output is caught and comes out here as the shell's own messages; it also tells errors from warnings,
// which share a status.
#pragma once

#include "failure.h"
#include "rows.h"
#include "tarnsql.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Session {
    TRN_HANDLE handle = nullptr;
    bool connected = false;
    bool cursors = true;            // queries run through a server cursor
    bool descriptors = false;       // large objects come as descriptors
    bool quiet = false;             // warnings and errors only
    bool silent = false;            // not even warnings
    bool (*is_stopped)() = nullptr; // asked between rows

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();
};

// A line on standard error; control characters in it are escaped.
void say(const std::string& text);
// The same for what -q leaves out.
void note(const Session& session, const std::string& text);

// Whether the library takes a part of the text for a list of addresses.
bool has_address_list(std::string_view connection);

// Connects and logs in. Fails with exit_connection.
void open_session(Session& session, const std::string& connection);

// Connects again after a lost link and says so; false when it cannot.
bool reconnect(Session& session);

// To be called with the status of every call that talks to the server: passes warnings on and fails when the
// call has.
void check_call(Session& session, std::int32_t status);

// Runs one statement; the rows of queries go to the sink, everything else is told in a note. A query is read
// through a server cursor, so that its rows never lie in memory all at once.
void run_statement(Session& session, const std::string& sql, RowSink& sink);

// The columns that a query gives, without its rows. It must be one that "WHERE" can follow.
std::vector<Column> describe(Session& session, const std::string& query);

} // namespace tarnsh
