// The command line, and where the password comes from.
#pragma once

#include "printers.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnsh {

struct Options {
    std::string connection; // whole, or made of the next four
    std::string server, port, database, user;
    std::string password_file;
    std::optional<std::string> commands;
    std::string script, output;
    PrintSettings print;
    bool quiet = false, timing = false;
};

// Gives an exit code when there is nothing more to do. Prints help and version on standard output.
std::optional<int> read_options(std::vector<std::string> arguments, Options& options);

// The connection string with the password, which comes from the string itself, the file, the environment or the
// terminal, the first of them that has one.
std::string connection_string(const Options& options);

} // namespace tarnsh
