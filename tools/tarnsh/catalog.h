// What tables and columns there are. How a server is asked for them is known here only: the queries are those
// of SQLite's catalogue, which tarnlite has; for another server they are to be written beside them.
#pragma once

#include "session.h"

#include <string>
#include <vector>

namespace tarnsh {

// One row for each table or view: name, kind.
std::string tables_query();
// One row for each column of a table: name, type, not null, default, key.
std::string columns_query(const std::string& table);

struct TableNames {
    std::string name;
    std::vector<std::string> columns;
};

// Every table with its columns, for completion; empty when the server's catalogue is not known.
std::vector<TableNames> read_names(Session& session);

} // namespace tarnsh
