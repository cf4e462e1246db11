// What the shell asks of the system, in one contract with an implementation for each: standard output, the
// terminal, line input, interrupts, who may read a file, and the addresses of names.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace tarnsh {

// Keeps standard output for the rows and returns it. What the library prints goes to a scratch file from then
// on. Called once, before the library is used; null when the system refuses.
std::FILE* claim_standard_output();

// What the library has printed since the last call.
std::string take_library_output();

// Whether the write that failed last did so because nobody reads the pipe any more.
bool is_reader_gone();

// The command line in UTF-8, which all texts of the shell are in, and a file by such a name; null as fopen
// gives it.
std::vector<std::string> command_line(int argc, char** argv);
std::FILE* open_file(const std::string& path, const char* mode);

// A program of the system's shell, with a pipe from its output ("r") or to its input ("w"); null as popen gives it. What else it
// writes goes to standard output and standard error. close_program waits for its end and tells whether it was a good one.
std::FILE* open_program(const std::string& command, const char* mode);
bool close_program(std::FILE* program);

bool is_terminal(std::FILE* file);

// Whether nobody but its owner may read the file; where the system has no such modes, true.
bool is_private(std::FILE* file);

// The IPv4 address of a name, or of an address itself; empty, with the reason, when there is none.
std::string address_of(const std::string& name, std::string& reason);

// Reads a line from the terminal without showing it. False without a terminal, and after Ctrl-C.
bool read_secret(const std::string& prompt, std::string& secret);

// From then on Ctrl-C is noted instead of ending the shell; a second one before it was taken ends it all the
// same.
void catch_interrupts();
// Whether Ctrl-C was pressed since it was last taken.
bool is_interrupted();
void take_interrupt();

// Waits, not longer than until Ctrl-C.
void wait_seconds(double seconds);

enum class Line {
    read,
    interrupted,
    end,
};

// What could stand in place of a word. Gets the word and what stands before it.
using Completer = std::function<std::vector<std::string>(const std::string& word, const std::string& before)>;

// Line input with history and completion, where the system has them. A line that is kept is in the history file
// at once.
void start_line_input(const std::string& history_file, Completer completer);
Line read_line(const std::string& prompt, std::string& line);
void keep_in_history(const std::string& line);

// The file for the history when none is named; empty when there is no place for one.
std::string default_history_file();

} // namespace tarnsh
