// Lists tables and columns. Only this file knows how to ask the server: the queries are for SQLite's
// catalogue, which tarnlite has; those for another server belong beside them.
#pragma once

#include "session.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

// One row for each table or view: name, kind. With a kind given: name only.
std::string tables_query();
std::string tables_query(std::string_view kind);
// One row for each column of a table: name, type, not null, default, key.
std::string columns_query(const std::string& table);
// One row for each index of a table: name, unique, columns. Without a table: name, table, unique, columns.
std::string indexes_query(const std::string& table);
std::string indexes_query();
// The statements that made a table and what belongs to it, one a row.
std::string statements_query(const std::string& table);
// One row for each database: name, file.
std::string databases_query();

struct TableNames {
    std::string name;
    std::vector<std::string> columns;
};

// Every table with its columns, for completion; empty when the server's catalogue is not known.
std::vector<TableNames> read_names(Session& session);

} // namespace tarnsh
