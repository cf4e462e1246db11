// The server cursors of one session, by name. A cursor has its own statement, which runs only as far as its
// rows are fetched; from its opening to its last row it holds SQLite's read lock. Names are case-insensitive:
// they are passed in upper case.
#pragma once

#include "database.h"
#include "lobs.h"
#include "parameters.h"
#include "rows.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tarnlite {

class Cursors {
  public:
    static constexpr std::size_t most_cursors = 256;

    // With a store, large objects are sent with marker and descriptor. Both must outlive the cursors.
    Cursors(sqlite3* database, LobStore* lobs) : database_(database), lobs_(lobs) {}

    // All throw SqlError, also when there is no such cursor.

    // Replies the columns of the cursor's query, whose parameters get their values here.
    void declare(const std::string& name, Statement statement, Parameters parameters, Reply& reply);
    // Starts at the first row; a cursor that has failed can be opened again.
    void open(const std::string& name);
    // Replies the columns and the next rows, which may be fewer than `count`.
    void fetch(const std::string& name, std::uint64_t count, Reply& reply);
    void close(const std::string& name);
    // Closes all cursors; they can be opened again.
    void stop_all();
    // Opens a cursor under a unique name.
    std::string open_unnamed(Statement statement, Parameters parameters);

  private:
    struct Cursor {
        Statement statement;
        Parameters parameters;          // the statement refers to their contents
        std::optional<ResultRows> rows; // when it is open
    };

    Cursor& add(const std::string& name, Statement statement, Parameters parameters);
    Cursor& find(const std::string& name);
    void start(Cursor& cursor);
    static void stop(Cursor& cursor);

    sqlite3* database_;
    LobStore* lobs_;
    std::map<std::string, Cursor> cursors_;
    std::uint64_t named_ = 0;
};

} // namespace tarnlite
