// What the server must know of a statement's text before SQLite sees it. Strings, quoted names and comments
// are passed over; nothing here judges the SQL.
#pragma once

#include <string>
#include <string_view>

namespace tarnlite {

// SQLite reads a column type as a run of names, and TO is none. Writes INTERVAL YEAR TO MONTH and its like as
// INTERVAL YEAR "TO" MONTH; every other text stays as it is.
std::string accept_interval_types(std::string_view sql);

// The word that says what a statement does, in upper case: its first one, or for WITH the one after the
// common table expressions. Empty when there is none.
std::string statement_verb(std::string_view sql);

} // namespace tarnlite
