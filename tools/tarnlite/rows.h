// The rows of one statement: its columns, and the transfer from SQLite into the reply.
// A column of a table has its declared type. The type of an expression, or of a column whose declared type is
// not a type of the server, follows from the values in the first rows, which are held back until it is
// decided; after that rows are sent one by one.
#pragma once

#include "database.h"
#include "lobs.h"
#include "protocol.h"
#include "values.h"

#include <deque>
#include <string>
#include <vector>

namespace tarnlite {

class ResultRows {
  public:
    // Runs the statement, which has columns and bound parameters, until the column types are decided. With a
    // store, large objects are sent with marker and descriptor. All but the statement must outlive the rows;
    // resetting the statement ends them. Throws SqlError.
    ResultRows(sqlite3* database, sqlite3_stmt* statement, LobStore* lobs);

    const std::vector<ColumnDescription>& columns() const { return columns_; }
    // Replies the next row; false when there is none. Throws SqlError when SQLite fails or a value cannot be
    // converted to its column's type.
    bool reply_next(Reply& reply);

  private:
    // A row whose texts are copies, so that it outlives the next step of its statement.
    struct HeldRow {
        std::vector<Value> values;
        std::deque<std::string> texts;
    };

    std::size_t hold_row();
    void decide_types(const std::vector<bool>& typed_by_values);
    void append(std::size_t column, const Value& value);

    sqlite3* database_;
    sqlite3_stmt* statement_;
    LobStore* lobs_;
    std::vector<ColumnDescription> columns_;
    std::deque<HeldRow> held_;
    bool at_row_;     // the statement is at a row that is not held
    std::string row_; // the row being built
};

// Replies the columns and all rows of a statement. On failure the rows before it have been replied.
void reply_rows(sqlite3* database, sqlite3_stmt* statement, LobStore* lobs, Reply& reply);

// The columns of a statement that has not run: those without a declared type are CHAR.
std::vector<ColumnDescription> describe_columns(sqlite3* database, sqlite3_stmt* statement);

// True when the statement is at a row. Throws SqlError.
bool step(sqlite3* database, sqlite3_stmt* statement);

// A value of the statement's current row, valid until its next step.
Value column_value(sqlite3_stmt* statement, int index);

} // namespace tarnlite
