// \copy: a CSV file into a table, one batch after the other, and the rows of a query into a CSV file.
#pragma once

#include "printers.h"
#include "session.h"

#include <string_view>

namespace tarnsh {

// arguments is "TABLE [(COLUMN, ...)] FROM FILE", "TABLE [(COLUMN, ...)] TO FILE" or "(QUERY) TO FILE"; false
// for another form.
bool copy(Session& session, std::string_view arguments, const PrintSettings& settings);

} // namespace tarnsh
