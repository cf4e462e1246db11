// SQLite's handles as owned objects, and its errors as exceptions.
#pragma once

#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace tarnlite {

class SqlError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct DatabaseCloser {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

struct StatementCloser {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

// All of these throw SqlError.

// A file name, or an SQLite URI.
Database open_database(const std::string& name);

// Takes the first statement off a text of SQL; null when only blanks and comments are left.
Statement take_statement(sqlite3* database, const char*& sql);

// The only statement of a text.
Statement prepare_only_statement(sqlite3* database, const std::string& sql);

void execute(sqlite3* database, const char* sql);

} // namespace tarnlite
