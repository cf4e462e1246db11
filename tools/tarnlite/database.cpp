#include "database.h"

#include <fmt/format.h>

namespace tarnlite {

Database open_database(const std::string& name) {
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
    Database database(opened);
    if (result != SQLITE_OK) throw SqlError(fmt::format("cannot open {}: {}", name, sqlite3_errmsg(opened)));
    return database;
}

Statement take_statement(sqlite3* database, const char*& sql) {
    while (*sql != '\0') {
        sqlite3_stmt* prepared = nullptr;
        const int result = sqlite3_prepare_v2(database, sql, -1, &prepared, &sql);
        Statement statement(prepared);
        if (result != SQLITE_OK) throw SqlError(sqlite3_errmsg(database));
        if (statement) return statement;
    }
    return nullptr;
}

Statement prepare_only_statement(sqlite3* database, const std::string& sql) {
    const char* rest = sql.c_str();
    Statement statement = take_statement(database, rest);
    if (!statement) throw SqlError("there is no statement");
    if (take_statement(database, rest)) throw SqlError("only one statement is allowed here");
    return statement;
}

void execute(sqlite3* database, const char* sql) {
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw SqlError(sqlite3_errmsg(database));
    }
}

} // namespace tarnlite
