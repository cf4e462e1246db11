// A call of a procedure or function: its input arguments, what its body replies, and its outputs.
#pragma once

#include "cursors.h"
#include "parameters.h"
#include "protocol.h"

#include <cstddef>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <vector>

namespace tarnlite {

enum class Direction {
    in,
    out,
    both,
};

struct Argument {
    std::string_view name;
    Direction direction;
    ColumnType type;
};

class Call;

struct Procedure {
    std::string_view name;
    std::vector<Argument> arguments;
    std::optional<ColumnType> returns; // of a function
    void (*body)(Call& call);
};

struct CallSite {
    sqlite3* database;
    Cursors& cursors;
};

// The inputs of a running procedure, and what its body can reply. In the SQL of a body, ":name" is the input
// of that argument.
class Call {
  public:
    Call(const Procedure& procedure, Parameters inputs, std::vector<std::optional<std::size_t>> slots,
         const CallSite& site, Reply& reply)
        : procedure_(procedure), inputs_(std::move(inputs)), slots_(std::move(slots)), site_(site),
          reply_(reply) {}

    std::string text(std::string_view argument);
    void reply_rows(const char* sql);
    // The name of an open cursor.
    std::string open_cursor(const char* sql);
    void warn(std::string_view text) { reply_.warning(text); }
    void notify(std::string_view text) { reply_.notice(text); }
    // Replies the outputs and the return value: the columns of the only row of a query, in order.
    void answer(const char* sql) { answer_as(sql, procedure_.returns); }
    void answer_as(const char* sql, std::optional<ColumnType> returns);
    // Gives an input another value, or its intended type.
    void set_text(std::string_view argument, std::string text);
    void set_type(std::string_view argument, const ColumnType& type);

  private:
    Parameter& input(std::string_view argument);
    Parameters inputs_of(sqlite3_stmt* statement);
    Statement run(const char* sql, Parameters& used);
    std::string output(sqlite3_stmt* statement, int column, std::string_view name, const ColumnType& type);

    const Procedure& procedure_;
    Parameters inputs_; // one for each argument, by name
    std::vector<std::optional<std::size_t>> slots_;
    CallSite site_;
    Reply& reply_;
};

// An argument is "?" or ":name" (also with "@" or "$"), which get their values like the parameters of a
// statement, or an SQL expression without parameters. After the body's own reply comes an output, with the
// entry's index, for each out or in-out argument whose entry the client sent as one of these; then a
// function's value. A call without entries gets all outputs, with the argument's index. Throws SqlError.
void call_procedure(const Procedure& procedure, const std::vector<std::string_view>& arguments,
                    const Parameters& entries, const CallSite& site, Reply& reply);

} // namespace tarnlite
