// SQLite for one connection: runs commands and replies their results.
// With auto-commit off, a transaction begins before the first statement that writes and stays open until the
// client ends it; closing the database rolls it back.
#pragma once

#include "batch.h"
#include "cursors.h"
#include "database.h"
#include "lobs.h"
#include "parameters.h"
#include "prepared.h"
#include "protocol.h"
#include "sql_guard.h"
#include "watcher.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tarnlite {

struct EngineSettings {
    std::string database;
    std::chrono::seconds lock_timeout{5};
    bool auto_commit = true;
    bool lobs_by_descriptor = false;
    bool allow_files = false;                            // other than the database
    std::optional<std::chrono::milliseconds> time_limit; // of a command
};

struct CommandText;

class Engine {
  public:
    // The watcher makes a running or waiting command fail when its client is gone. Both must outlive the
    // engine.
    Engine(const EngineSettings& settings, Watcher& watcher, const Socket& client);

    Engine(const Engine&) = delete; // SQLite keeps its address
    Engine& operator=(const Engine&) = delete;

    // Runs a control command, or statements; with parameters only one. Throws SqlError at the first statement
    // that fails; the items before it have been replied.
    void run(std::string_view text, const Parameters& parameters, Reply& reply);
    // Runs one statement, or a prepared one, once for each row, all or nothing. Replies one item with the
    // last row id or the count of all rows. Throws SqlError, perhaps with rows left unread.
    void run_batch(std::string_view text, BatchRows& rows, Reply& reply);

  private:
    // Runs a command under the watcher, and reports why it was ended or refused.
    void run_watched(const std::function<void()>& command);
    void end_watch();
    void fail_when_ended() const;
    void run_command(std::string_view text, const Parameters& parameters, Reply& reply);
    void run_whole_batch(std::string_view text, BatchRows& rows, Reply& reply);
    void prepare(const std::string& name, std::string_view sql, Reply& reply);
    void declare(const CommandText& command, const Parameters& parameters, Reply& reply);
    void run_statements(const std::string& sql, Reply& reply);
    void run_with(sqlite3_stmt* statement, const Parameters& parameters, Reply& reply);
    void run_statement(sqlite3_stmt* statement, Reply& reply);
    std::int64_t run_rows(sqlite3_stmt* statement, BatchRows& rows);
    void reply_change(std::string_view verb, std::int64_t changed, Reply& reply);
    // True when the statement has nothing left to do.
    bool settle_transaction(sqlite3_stmt* statement, std::string_view verb);
    static int on_busy(void* engine, int attempts);

    EngineSettings settings_;
    std::chrono::steady_clock::time_point busy_since_{};
    SqlGuard guard_;
    Database database_;
    PreparedStatements prepared_;
    std::optional<LobStore> lobs_; // when the session asked for descriptors
    Cursors cursors_;
    WatchedSession watched_;
};

} // namespace tarnlite
