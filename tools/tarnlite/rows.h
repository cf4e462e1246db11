// The rows of one statement: what its columns are, and their way from SQLite into the reply.
// A column of a table has its declared type. An expression, or a column whose declared name is no type of the server,
// takes its type from the values in the first rows, which are held back until that is decided; after them rows go out
// one by one and are never collected.
#pragma once

#include "database.h"
#include "lobs.h"
#include "protocol.h"

#include <vector>

namespace tarnlite {

// Runs the statement, which has columns, to its end. With a store, large objects go by marker and descriptor. Throws
// SqlError when SQLite fails or a value cannot be made into its column's type; rows before it have then been replied.
void reply_rows(sqlite3* database, sqlite3_stmt* statement, LobStore* lobs, Reply& reply);

// The columns of a statement that has not run: those without a declared type pass as CHAR.
std::vector<ColumnDescription> describe_columns(sqlite3* database, sqlite3_stmt* statement);

} // namespace tarnlite
