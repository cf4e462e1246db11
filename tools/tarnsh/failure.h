// Failures: each has the exit code for a run without a terminal.
#pragma once

#include <string>
#include <utility>

namespace tarnsh {

enum ExitCode {
    exit_done = 0,
    exit_shell = 1,      // the shell's own: options, files, output
    exit_connection = 2, // no connection, or a lost one
    exit_statement = 3,  // the server refused a statement
};

struct Failure {
    ExitCode code;
    std::string text;
};

// The reader of the rows has gone: the shell ends silently.
struct OutputClosed {};

[[noreturn]] inline void fail(ExitCode code, std::string text) {
    throw Failure{code, std::move(text)};
}

} // namespace tarnsh
