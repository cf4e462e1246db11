#include "engine.h"

#include "bytes.h"
#include "rows.h"
#include "sql_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>

namespace tarnlite {

namespace {

constexpr int instructions_between_checks = 4000;
constexpr std::chrono::milliseconds longest_busy_pause{20};

struct StatementCloser {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

int on_progress(void* stopping) {
    return static_cast<const std::atomic<bool>*>(stopping)->load() ? 1 : 0;
}

void execute(sqlite3* database, const char* sql) {
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw SqlError(sqlite3_errmsg(database));
    }
}

void reply_version(Reply& reply) {
    reply.columns({ColumnDescription{"%version", ColumnType{WireType::character, 64}, 0}});
    std::string row;
    put_text(row, fmt::format("tarnlite 1.0 (SQLite {})", sqlite3_libversion()));
    reply.row(row);
}

} // namespace

Database open_database(const std::string& name) {
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
    Database database(opened);
    if (result != SQLITE_OK) throw SqlError(fmt::format("cannot open {}: {}", name, sqlite3_errmsg(opened)));
    return database;
}

Engine::Engine(const EngineSettings& settings, const std::atomic<bool>& stopping)
    : stopping_(stopping), lock_timeout_(settings.lock_timeout), auto_commit_(settings.auto_commit),
      database_(open_database(settings.database)) {
    sqlite3_busy_handler(database_.get(), on_busy, this);
    sqlite3_progress_handler(database_.get(), instructions_between_checks, on_progress,
                             const_cast<std::atomic<bool>*>(&stopping_));
}

// SQLite asks here, while another connection holds the lock it wants, whether to try again.
int Engine::on_busy(void* engine, int attempts) {
    auto& self = *static_cast<Engine*>(engine);
    const auto now = std::chrono::steady_clock::now();
    if (attempts == 0) self.busy_since_ = now;
    if (self.stopping_ || now - self.busy_since_ >= self.lock_timeout_) return 0;
    std::this_thread::sleep_for(std::min(longest_busy_pause, std::chrono::milliseconds(attempts + 1)));
    return 1;
}

void Engine::run(std::string_view text, Reply& reply) {
    if (text.find('\0') != std::string_view::npos) throw SqlError("the command text holds a zero byte");
    if (is_show_version(text)) return reply_version(reply);
    const std::string sql = accept_interval_types(text);
    const char* rest = sql.c_str();
    const char* const end = rest + sql.size();
    while (rest < end) {
        sqlite3_stmt* prepared = nullptr;
        const int size = static_cast<int>(end - rest) + 1;
        const int result = sqlite3_prepare_v2(database_.get(), rest, size, &prepared, &rest);
        const Statement statement(prepared);
        if (result != SQLITE_OK) throw SqlError(sqlite3_errmsg(database_.get()));
        if (statement) run_statement(statement.get(), reply);
    }
}

void Engine::run_statement(sqlite3_stmt* statement, Reply& reply) {
    sqlite3* const database = database_.get();
    const std::string verb = statement_verb(sqlite3_sql(statement));
    if (!auto_commit_ && settle_transaction(statement, verb)) return;
    if (sqlite3_column_count(statement) > 0) return reply_rows(database, statement, reply);

    if (sqlite3_step(statement) != SQLITE_DONE) throw SqlError(sqlite3_errmsg(database));
    const std::int64_t changed = sqlite3_changes64(database);
    if (verb == "UPDATE") {
        reply.updated(changed);
    } else if (verb == "DELETE") {
        reply.deleted(changed);
    } else if ((verb == "INSERT" || verb == "REPLACE") && changed > 0) {
        reply.inserted(std::to_string(sqlite3_last_insert_rowid(database)));
    }
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
