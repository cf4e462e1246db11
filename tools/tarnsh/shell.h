// Runs statements and backslash commands, from a script or from a person.
#pragma once

#include "catalog.h"
#include "output.h"
#include "printers.h"
#include "session.h"
#include "splitter.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct Shell {
    Session& session;
    Output& output;
    PrintSettings print;
    bool timing = false;
    bool left = false;        // \q
    std::FILE* input = stdin; // where the lines of \copy FROM stdin come from
    std::string last_statement{};
    bool names_known = false; // what completion offers; forgotten when tables may have changed
    std::vector<TableNames> names{};
};

// Whether a piece talks to the server.
bool needs_server(const Piece& piece);

// Runs one piece. Throws Failure.
void run_piece(Shell& shell, const Piece& piece);

// Runs a whole text or file as it arrives, up to the first failure, which is told with the name and the line.
// Gives the exit code.
int run_text(Shell& shell, std::string_view text);
int run_file(Shell& shell, std::FILE* file, const std::string& name);

// Reads from the terminal until \q or the end of input.
int run_interactively(Shell& shell, const std::string& history_file);

// The names of all backslash commands, without the backslash.
std::vector<std::string> command_names();

} // namespace tarnsh
