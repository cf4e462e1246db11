// What the shell asks of the system, in one contract with an implementation for each: the terminal and its keys,
// interrupts, programs, files and who may read them, and the addresses of names.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

// To be called first: a closed pipe is no signal but a failed write, and consoles take UTF-8.
void prepare_process();

// Whether the write that failed last did so because nobody reads the pipe any more.
bool is_reader_gone();

// The command line in UTF-8, which all texts of the shell are in, and a file by such a name; null as fopen
// gives it. hide_argument overwrites what other users of the machine could read of an argument.
std::vector<std::string> command_line(int argc, char** argv);
void hide_argument(char* argument, std::size_t offset);
std::FILE* open_file(const std::string& path, const char* mode);

// A program of the system's shell, with a pipe from its output ("r") or to its input ("w"); null as popen gives it. What else it
// writes goes to standard output and standard error. close_program waits for its end and tells whether it was a good one.
std::FILE* open_program(const std::string& command, const char* mode);
bool close_program(std::FILE* program);
// Runs a command with the terminal, or an interactive shell for an empty one. The exit code; -1 when it could not be run.
int run_program(const std::string& command);
// Whether a program of this name is found.
bool has_program(const std::string& name);

bool is_terminal(std::FILE* file);

// Whether nobody but its owner may read the file; where the system has no such modes, true.
bool is_private(std::FILE* file);
// Opens a file that nobody but its owner may read, to add to it; null when it cannot.
std::FILE* open_private_file(const std::string& path);
// A new file for an editor, with a name that ends in ".sql"; empty when there is no place for one.
std::string make_temporary_file();
std::string home_directory(); // empty when there is none

// The IPv4 address of a name, or of an address itself; empty, with the reason, when there is none.
std::string address_of(const std::string& name, std::string& reason);

// Reads a line from the terminal without showing it. False without a terminal, and after Ctrl-C.
bool read_secret(const std::string& prompt, std::string& secret);

// From then on Ctrl-C is noted instead of ending the shell, and told, on a thread that does nothing else.
void catch_interrupts(void (*told)());
// Whether Ctrl-C was pressed since it was last taken.
bool is_interrupted();
void take_interrupt();

// Waits, not longer than until Ctrl-C.
void wait_seconds(double seconds);

struct TerminalSize {
    std::size_t columns, rows;
};
TerminalSize terminal_size();

// The terminal in a state in which every key arrives at once, from start_keys to stop_keys.
bool start_keys();
void stop_keys();

enum class Keys {
    read,
    none,    // in time
    resized, // the terminal has another size
    end,     // there is no terminal any more
};
// What was typed, as an xterm would send it. Waits for so many milliseconds, or for ever with -1.
Keys read_keys(std::string& bytes, int wait_ms);
// Stops the shell until it is brought to the foreground again, where the system can.
void suspend();
void write_terminal(std::string_view text);

} // namespace tarnsh
