#include "engine.h"

#include "bytes.h"
#include "command_text.h"
#include "procedures.h"
#include "rows.h"
#include "sql_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>

namespace tarnlite {

namespace {

constexpr std::chrono::milliseconds longest_busy_pause{20};
constexpr std::uint32_t text_api_type = 2; // of every parameter: SQLite does not know their types

std::string text_of(WatchedSession::Reason reason, const EngineSettings& settings) {
    using Reason = WatchedSession::Reason;
    if (reason == Reason::server_stops) return "the server stops";
    if (reason == Reason::client_gone) return "the client has gone";
    const std::chrono::duration<double> limit = *settings.time_limit;
    return fmt::format("the command was ended: it ran for more than {:g} s (--statement-timeout)",
                       limit.count());
}

void reply_version(Reply& reply) {
    reply.columns({ColumnDescription{"%version", ColumnType{WireType::character, 64}, 0}});
    std::string row;
    put_text(row, fmt::format(TARNLITE_VERSION " (SQLite {})", sqlite3_libversion()));
    reply.row(row);
}

// Resets the statement for its next run, without the values of this one.
class StatementUse {
  public:
    explicit StatementUse(sqlite3_stmt* statement) : statement_(statement) {}
    StatementUse(const StatementUse&) = delete;
    StatementUse& operator=(const StatementUse&) = delete;
    ~StatementUse() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }

  private:
    sqlite3_stmt* statement_;
};

// A savepoint: undoes what was done since, unless kept. Outside a transaction it is a transaction itself.
class Savepoint {
  public:
    explicit Savepoint(sqlite3* database) : database_(database) {
        execute(database, "SAVEPOINT tarnlite_batch");
    }
    Savepoint(const Savepoint&) = delete;
    Savepoint& operator=(const Savepoint&) = delete;
    ~Savepoint() {
        if (kept_) return;
        // Some failures have rolled back everything already.
        sqlite3_exec(database_, "ROLLBACK TO tarnlite_batch; RELEASE tarnlite_batch", nullptr, nullptr,
                     nullptr);
    }
    void keep() {
        execute(database_, "RELEASE tarnlite_batch");
        kept_ = true;
    }

  private:
    sqlite3* database_;
    bool kept_ = false;
};

CommandText understand(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) throw SqlError("the command text holds a zero byte");
    return read_command_text(text);
}

bool inserts(std::string_view verb) {
    return verb == "INSERT" || verb == "REPLACE";
}

} // namespace

Engine::Engine(const EngineSettings& settings, Watcher& watcher, const Socket& client)
    : settings_(settings), guard_(settings.allow_files), database_(open_database(settings.database)),
      lobs_(settings.lobs_by_descriptor ? std::make_optional<LobStore>() : std::nullopt),
      cursors_(database_.get(), lobs_ ? &*lobs_ : nullptr),
      watched_(watcher, client, database_.get(), settings.time_limit) {
    guard_.watch(database_.get());
    sqlite3_busy_handler(database_.get(), on_busy, this);
}

// SQLite asks here whether to retry while another connection holds the lock.
int Engine::on_busy(void* engine, int attempts) {
    auto& self = *static_cast<Engine*>(engine);
    const auto now = std::chrono::steady_clock::now();
    if (attempts == 0) self.busy_since_ = now;
    const bool over = self.watched_.reason() != WatchedSession::Reason::none;
    if (over || now - self.busy_since_ >= self.settings_.lock_timeout) return 0;
    std::this_thread::sleep_for(std::min(longest_busy_pause, std::chrono::milliseconds(attempts + 1)));
    return 1;
}

void Engine::run(std::string_view text, const Parameters& parameters, Reply& reply) {
    run_watched([&] { run_command(text, parameters, reply); });
}

void Engine::run_batch(std::string_view text, BatchRows& rows, Reply& reply) {
    run_watched([&] { run_whole_batch(text, rows, reply); });
}

void Engine::run_watched(const std::function<void()>& command) {
    guard_.forget();
    watched_.begin_command();
    try {
        command();
        end_watch();
    } catch (const SqlError&) {
        end_watch();
        const auto reason = watched_.reason();
        if (reason != WatchedSession::Reason::none) throw SqlError(text_of(reason, settings_));
        if (!guard_.refusal().empty()) throw SqlError(guard_.refusal());
        throw;
    } catch (...) {
        end_watch();
        throw;
    }
}

// While a cursor is open, an interrupt would also hit the session's next statements.
void Engine::end_watch() {
    watched_.end_command();
    if (watched_.reason() != WatchedSession::Reason::none) cursors_.stop_all();
}

void Engine::fail_when_ended() const {
    if (watched_.reason() != WatchedSession::Reason::none) throw SqlError("interrupted");
}

void Engine::run_command(std::string_view text, const Parameters& parameters, Reply& reply) {
    using Kind = CommandText::Kind;
    const CommandText command = understand(text);
    switch (command.kind) {
    case Kind::show_version: return reply_version(reply);
    case Kind::prepare: return prepare(command.name, command.sql, reply);
    case Kind::execute: return run_with(prepared_.find(command.name), parameters, reply);
    case Kind::deallocate: return prepared_.remove(command.name);
    case Kind::declare: return declare(command, parameters, reply);
    case Kind::open: return cursors_.open(command.name);
    case Kind::fetch: return cursors_.fetch(command.name, command.limit, reply);
    case Kind::close: return cursors_.close(command.name);
    case Kind::call:
        return call_procedure(find_procedure(command.name), command.arguments, parameters,
                              {database_.get(), cursors_}, reply);
    case Kind::get_lob:
        if (!lobs_) throw SqlError("the login did not ask for large objects by descriptor");
        return lobs_->reply_content(command.name, command.offset, command.limit, reply);
    case Kind::sql: break;
    }
    const std::string sql = accept_interval_types(command.sql);
    if (parameters.empty()) return run_statements(sql, reply);
    const Statement statement = prepare_only_statement(database_.get(), sql);
    run_with(statement.get(), parameters, reply);
}

void Engine::prepare(const std::string& name, std::string_view sql, Reply& reply) {
    sqlite3_stmt* const statement =
        prepared_.add(name, prepare_only_statement(database_.get(), accept_interval_types(sql)));
    const auto columns = describe_columns(database_.get(), statement);
    if (!columns.empty()) reply.columns(columns);
    std::vector<ParameterDescription> parameters;
    for (int i = 1; i <= sqlite3_bind_parameter_count(statement); ++i) {
        parameters.push_back({parameter_name(statement, i), static_cast<std::uint32_t>(i), text_api_type, 0});
    }
    if (!parameters.empty()) reply.parameters(parameters);
}

// The prepared statement stays free for its own runs: the cursor prepares the same text again.
void Engine::declare(const CommandText& command, const Parameters& parameters, Reply& reply) {
    const std::string sql = command.prepared.empty() ? accept_interval_types(command.sql)
                                                     : sqlite3_sql(prepared_.find(command.prepared));
    cursors_.declare(command.name, prepare_only_statement(database_.get(), sql), parameters, reply);
}

void Engine::run_statements(const std::string& sql, Reply& reply) {
    const char* rest = sql.c_str();
    while (const Statement statement = take_statement(database_.get(), rest)) {
        fail_when_ended();
        run_with(statement.get(), {}, reply);
    }
}

void Engine::run_with(sqlite3_stmt* statement, const Parameters& parameters, Reply& reply) {
    const StatementUse use(statement);
    ParameterPlaces(statement, parameters).bind(database_.get(), statement, parameters);
    run_statement(statement, reply);
}

void Engine::run_statement(sqlite3_stmt* statement, Reply& reply) {
    sqlite3* const database = database_.get();
    const std::string verb = statement_verb(sqlite3_sql(statement));
    if (!settings_.auto_commit && settle_transaction(statement, verb)) return;
    if (sqlite3_column_count(statement) > 0) {
        return reply_rows(database, statement, lobs_ ? &*lobs_ : nullptr, reply);
    }
    if (sqlite3_step(statement) != SQLITE_DONE) throw SqlError(sqlite3_errmsg(database));
    reply_change(verb, sqlite3_changes64(database), reply);
}

void Engine::reply_change(std::string_view verb, std::int64_t changed, Reply& reply) {
    if (verb == "UPDATE") {
        reply.updated(changed);
    } else if (verb == "DELETE") {
        reply.deleted(changed);
    } else if (inserts(verb) && changed > 0) {
        reply.inserted(std::to_string(sqlite3_last_insert_rowid(database_.get())));
    }
}

void Engine::run_whole_batch(std::string_view text, BatchRows& rows, Reply& reply) {
    const CommandText command = understand(text);
    Statement own;
    sqlite3_stmt* statement = nullptr;
    if (command.kind == CommandText::Kind::execute) {
        statement = prepared_.find(command.name);
    } else {
        own = prepare_only_statement(database_.get(), accept_interval_types(text));
        statement = own.get();
    }
    const std::string verb = statement_verb(sqlite3_sql(statement));
    if (sqlite3_column_count(statement) > 0 || !(inserts(verb) || verb == "UPDATE" || verb == "DELETE")) {
        throw SqlError("a batch can only run an INSERT, REPLACE, UPDATE or DELETE without result rows");
    }
    if (!settings_.auto_commit) settle_transaction(statement, verb);
    Savepoint savepoint(database_.get());
    std::int64_t changed = 0;
    try {
        changed = run_rows(statement, rows);
        savepoint.keep();
    } catch (...) {
        end_watch(); // no interrupt may hit the rollback
        throw;
    }
    reply_change(verb, changed, reply);
}

std::int64_t Engine::run_rows(sqlite3_stmt* statement, BatchRows& rows) {
    const StatementUse use(statement);
    const ParameterPlaces places(statement, rows.row());
    std::int64_t changed = 0;
    do {
        fail_when_ended();
        places.bind(database_.get(), statement, rows.row());
        if (sqlite3_step(statement) != SQLITE_DONE) throw SqlError(sqlite3_errmsg(database_.get()));
        changed += sqlite3_changes64(database_.get());
        sqlite3_reset(statement);
    } while (rows.next());
    return changed;
}

bool Engine::settle_transaction(sqlite3_stmt* statement, std::string_view verb) {
    const bool inside = sqlite3_get_autocommit(database_.get()) == 0;
    if (inside) return false;
    if (verb == "COMMIT" || verb == "END" || verb == "ROLLBACK") return true;
    const bool stands_alone = verb == "BEGIN" || verb == "VACUUM" || verb == "PRAGMA";
    const bool writes = sqlite3_stmt_readonly(statement) == 0;
    if (verb == "SAVEPOINT" || (writes && !stands_alone)) execute(database_.get(), "BEGIN");
    return false;
}

} // namespace tarnlite
