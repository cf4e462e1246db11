// What the server needs to know about a statement's text before SQLite sees it. Strings, quoted names and
// comments are skipped; the SQL is not validated.
#pragma once

#include <string>
#include <string_view>

namespace tarnlite {

// SQLite parses a column type as a sequence of names, and TO is a keyword. Rewrites INTERVAL YEAR TO MONTH
// and the like as INTERVAL YEAR "TO" MONTH; other text is unchanged.
std::string accept_interval_types(std::string_view sql);

// The word that says what a statement does, in upper case: its first one, or for WITH the one after the
// common table expressions. Empty when there is none.
std::string statement_verb(std::string_view sql);

} // namespace tarnlite
