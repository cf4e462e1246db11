// The operating system's side of the process: the command line, its limits, and what ends the server: SIGINT
// and SIGTERM, or, on Windows, Ctrl+C, Ctrl+Break and the end of the console or the session.
#pragma once

#include <string>
#include <vector>

namespace tarnlite {

// The arguments in UTF-8, the program's name first.
std::vector<std::string> command_line(int argc, char** argv);
// As many open files and connections as the system allows, where it gives fewer unasked.
void raise_descriptor_limit();
// To be called before any other thread starts, so that all of them leave the stop signals to the main thread.
void hold_stop_signals();
// Returns when a stop signal arrives, or has arrived since they are held.
void wait_for_stop_signal();

} // namespace tarnlite
