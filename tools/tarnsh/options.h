// The command line.
#pragma once

#include "connection.h"
#include "printers.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnsh {

struct Options {
    ConnectionOptions connection;
    std::optional<std::string> commands;
    std::string script, output, log;
    PrintSettings print;
    std::vector<std::pair<std::string, std::string>> variables;
    bool quiet = false, timing = false, echo = false;
    bool single_transaction = false, continue_on_error = false, no_rc = false, no_pager = false;
};

// Returns an exit code when there is nothing more to do. Prints help and version on standard output.
std::optional<int> read_options(std::vector<std::string> arguments, Options& options);

} // namespace tarnsh
