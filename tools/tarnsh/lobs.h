// \lob_import and \lob_export: files into and out of single values. Both return false for wrong arguments.
#pragma once

#include "session.h"

#include <string_view>

namespace tarnsh {

// arguments is "TABLE.COLUMN FILE [WHERE CONDITION]": sets the column in the rows found, or inserts a row
// that has only this column.
bool import_lob(Session& session, std::string_view arguments);

// arguments is "(QUERY) FILE": writes the first column of the first row.
bool export_lob(Session& session, std::string_view arguments);

} // namespace tarnsh
