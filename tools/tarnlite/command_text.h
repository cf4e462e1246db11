// What a command's text asks of the server: SQL, or one of the control texts around prepared statements,
// cursors, procedures and large objects. Letter case, blanks and comments do not matter in control texts, and
// a semicolon may end them.
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
        call,       // EXEC name(argument, ...), or EXECUTE; without arguments the brackets may be left out
        get_lob,    // GET LOB 'name' OFFSET offset LIMIT limit
    };

    Kind kind = Kind::sql;
    std::string name;                        // in upper case, but a large object's as it was written
    std::string_view sql;                    // of sql, prepare and declare
    std::string prepared;                    // of declare: the statement's name, in upper case; empty for sql
    std::vector<std::string_view> arguments; // of call, as they were written
    std::uint64_t offset = 0;
    std::uint64_t limit = 0;
};

// A text that is no control text through and through is SQL.
CommandText read_command_text(std::string_view text);

} // namespace tarnlite
