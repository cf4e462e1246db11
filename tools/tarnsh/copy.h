// \copy: CSV into a table, one batch after the other, and the rows of a query as CSV.
#pragma once

#include "output.h"
#include "printers.h"
#include "session.h"

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace tarnsh {

// What the arguments of \copy say.
struct CopyPlan {
    bool into_table = false;
    std::string table;               // empty before a query
    std::optional<std::string> list; // of columns, or the query
    std::string path;                // "|COMMAND" for a program; empty for standard input and output
    PrintSettings settings;
};

// arguments is "TABLE [(COLUMN, ...)] FROM SOURCE [OPTIONS]", "TABLE [(COLUMN, ...)] TO TARGET [OPTIONS]" or
// "(QUERY) TO TARGET [OPTIONS]"; nothing for another form. A source or target is a file, PROGRAM 'COMMAND',
// or stdin and stdout; options that are not given come from the settings: HEADER [on|off], DELIMITER 'c',
// QUOTE 'c', NULL 'text'.
std::optional<CopyPlan> plan_copy(std::string_view arguments, const PrintSettings& settings);

// standard is where rows go when no file is named; input is where the lines after the command come from.
bool copy(Session& session, std::string_view arguments, const PrintSettings& settings, Output& standard,
          std::FILE* input);

// The two halves.
void copy_from(Session& session, const CopyPlan& plan, std::FILE* input);
void copy_to(Session& session, const CopyPlan& plan, Output& standard);

} // namespace tarnsh
