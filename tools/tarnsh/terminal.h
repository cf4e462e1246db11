// What the shell needs from the system, with an implementation for each system: the terminal and its keys,
// interrupts, programs, files and who may read them, and the addresses of names.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

// Call first: a closed pipe is then a failed write, not a signal, and consoles take UTF-8.
void prepare_process();

// Whether the write that failed last did so because nobody reads the pipe any more.
bool is_reader_gone();

// The command line in UTF-8, like all texts of the shell, and a file opened by such a name; null as from
// fopen. hide_argument overwrites an argument, which other users of the machine could read.
std::vector<std::string> command_line(int argc, char** argv);
void hide_argument(char* argument, std::size_t offset);
std::FILE* open_file(const std::string& path, const char* mode);

// A program of the system's shell, with a pipe from its output ("r") or to its input ("w"); null as from
// popen. Its other streams are the shell's. close_program waits for its end and tells whether it succeeded.
std::FILE* open_program(const std::string& command, const char* mode);
bool close_program(std::FILE* program);
// Runs a command with the terminal, or an interactive shell for an empty one. The exit code; -1 when it could
// not be run.
int run_program(const std::string& command);
// Whether there is a program of this name.
bool has_program(const std::string& name);

bool is_terminal(std::FILE* file);

// Whether nobody but its owner may read the file; where the system has no such modes, true.
bool is_private(std::FILE* file);
// Opens a file that nobody but its owner may read, to add to it; null when it cannot.
std::FILE* open_private_file(const std::string& path);
// A new file for an editor, with a name that ends in ".sql"; empty when none can be made.
std::string make_temporary_file();
std::string home_directory(); // empty when there is none

// The IPv4 address of a name, or of an address itself; empty, with the reason, when there is none.
std::string address_of(const std::string& name, std::string& reason);

// Reads a line from the terminal without showing it. False without a terminal, and after Ctrl-C.
bool read_secret(const std::string& prompt, std::string& secret);

// From now on Ctrl-C does not end the shell: it is noted, and told() is called on a thread of its own.
void catch_interrupts(void (*told)());
// Whether Ctrl-C was pressed since it was last taken.
bool is_interrupted();
void take_interrupt();

// Waits; Ctrl-C ends the wait.
void wait_seconds(double seconds);

struct TerminalSize {
    std::size_t columns, rows;
};
TerminalSize terminal_size();

// Between start_keys and stop_keys every key arrives at once.
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
// Suspends the shell until it is brought to the foreground, where the system can.
void suspend();
void write_terminal(std::string_view text);

} // namespace tarnsh
