// The process and the operating system: the command line, limits, and the stop signals: SIGINT and SIGTERM,
// or, on Windows, Ctrl+C, Ctrl+Break and the end of the console or the session.
#pragma once

#include <string>
#include <vector>

namespace tarnlite {

// The arguments in UTF-8, the program's name first.
std::vector<std::string> command_line(int argc, char** argv);
// Raises the limit of open files to the maximum that the system allows.
void raise_descriptor_limit();
// Must be called before any other thread starts, so that only the main thread receives the stop signals.
void hold_stop_signals();
// Returns when a stop signal arrives, or if one has arrived since they were blocked.
void wait_for_stop_signal();

} // namespace tarnlite
