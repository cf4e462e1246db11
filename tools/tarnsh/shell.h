// Runs statements and backslash commands, from a script or interactively.
#pragma once

#include "catalog.h"
#include "output.h"
#include "printers.h"
#include "session.h"
#include "splitter.h"
#include "variables.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

enum class Switch {
    off,
    on,
    automatic,
};

struct Shell {
    Shell(Session& opened, Output& output) : session(opened), standard(output) {}

    Session& session;
    Output& standard; // where rows go unless something else is said
    PrintSettings print{};
    bool timing = false, echo = false, continue_on_error = false;
    int connect_timeout = 30;

    // Of a person's sessions.
    bool interactive = false;
    bool pager = true, coloured = true, hinting = true;
    Switch expanded = Switch::off;
    std::optional<std::size_t> width{}; // of tables; otherwise the terminal's
    std::string prompt = "tarn";
    std::string state_file{}; // remembers \timing; empty for none

    std::unique_ptr<Output> redirected{}; // \o
    Variables variables{};
    std::string last_statement{};
    Splitter* input_text = nullptr;         // which the commands about an unfinished statement change
    std::optional<std::string> next_text{}; // what the editor begins with
    std::FILE* input = stdin;               // where the lines of \copy FROM stdin come from
    std::string folder{};                   // of the script that runs, for \ir
    int depth = 0;                          // of scripts
    int first_failure = 0;                  // that was gone past
    bool left = false;                      // \q

    bool names_known = false; // what completion offers; forgotten when tables may have changed
    std::vector<TableNames> names{};

    Output& rows() { return redirected ? *redirected : standard; }
};

// How and where one statement's rows are printed.
struct PrintJob {
    PrintSettings settings;
    std::string target{}; // a file or "|COMMAND"; otherwise where rows go
};
PrintJob usual_job(const Shell& shell);

// Whether a piece talks to the server.
bool needs_server(const Piece& piece);

// Each runs something and throws Failure.
void run_piece(Shell& shell, const Piece& piece);
void run_user_sql(Shell& shell, const std::string& sql, const PrintJob& job);
void run_query(Shell& shell, const std::string& sql); // of the shell's own

// Runs a whole text or file as it arrives, up to the first failure, or past failures of statements where that
// is set. The failure's text gets the name and the line.
void run_text(Shell& shell, std::string_view text);
void run_file(Shell& shell, std::FILE* file, const std::string& name);
void run_script(Shell& shell, const std::string& path); // "-" is standard input

// Reads from the terminal until \q or the end of input.
void run_interactively(Shell& shell, const std::string& history_file);

} // namespace tarnsh
