// SQLite behind one connection: runs the statements of a command text in order and replies each one's result.
// With auto-commit off, a transaction begins before the first statement that writes and stays open until the client
// ends it; closing the database rolls it back.
#pragma once

#include "protocol.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnlite {

class SqlError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct DatabaseCloser {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

// A file name, or an SQLite URI. Throws SqlError.
Database open_database(const std::string& name);

struct EngineSettings {
    std::string database;
    std::chrono::seconds lock_timeout{5};
    bool auto_commit = true;
};

class Engine {
  public:
    // `stopping` makes a running or waiting statement fail soon; it must outlive the engine.
    Engine(const EngineSettings& settings, const std::atomic<bool>& stopping);

    Engine(const Engine&) = delete; // SQLite holds its address
    Engine& operator=(const Engine&) = delete;

    // Throws SqlError at the first statement that fails; the items before it have been replied.
    void run(std::string_view text, Reply& reply);

  private:
    void run_statement(sqlite3_stmt* statement, Reply& reply);
    // True when the statement has nothing left to do.
    bool settle_transaction(sqlite3_stmt* statement, std::string_view verb);
    static int on_busy(void* engine, int attempts);

    const std::atomic<bool>& stopping_;
    std::chrono::seconds lock_timeout_;
    bool auto_commit_;
    std::chrono::steady_clock::time_point busy_since_{};
    Database database_;
};

} // namespace tarnlite
