// Parses a command's text: SQL, or one of the control commands for prepared statements, cursors, procedures
// and large objects. In control commands case, blanks and comments do not matter, and a semicolon may follow.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnlite {

struct CommandText {
    enum class Kind {
        sql,
        show_version,
        prepare,    // PREPARE name AS sql
        execute,    // ? name
        deallocate, // DEALLOCATE name
        declare,    // DECLARE name CURSOR FOR sql, or for a prepared statement's name
        open,       // OPEN name
        fetch,      // FETCH limit FROM name
        close,      // CLOSE name
        call,       // EXEC name(argument, ...), or EXECUTE; without arguments the parentheses may be omitted
        get_lob,    // GET LOB 'name' OFFSET offset LIMIT limit
    };

    Kind kind = Kind::sql;
    std::string name;                        // in upper case, except that of a large object
    std::string_view sql;                    // of sql, prepare and declare
    std::string prepared;                    // of declare: the statement's name, in upper case; empty for sql
    std::vector<std::string_view> arguments; // of call, unchanged
    std::uint64_t offset = 0;
    std::uint64_t limit = 0;
};

// A text that is not entirely a control command is SQL.
CommandText read_command_text(std::string_view text);

} // namespace tarnlite
