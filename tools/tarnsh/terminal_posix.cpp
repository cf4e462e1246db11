// Line input is editline's. Nothing here prints to descriptor 1: prompts go to standard error.
#include "terminal.h"

#include <editline/readline.h>

#include <fcntl.h>
#include <langinfo.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>

namespace tarnsh {

namespace {

int scratch = -1, standard_output = STDOUT_FILENO;
std::atomic<int> interrupts = 0; // lock-free, as a signal handler needs it
Completer complete_word;
std::string history_path;
std::vector<std::string> candidates;

extern "C" void note_interrupt(int) {
    if (interrupts++ > 0) _exit(130);
}

extern "C" char* next_candidate(const char*, int state) {
    const auto index = static_cast<std::size_t>(state);
    return index < candidates.size() ? strdup(candidates[index].c_str()) : nullptr;
}

extern "C" char** complete(const char* word, int start, int) {
    candidates = complete_word(word, std::string(rl_line_buffer, static_cast<std::size_t>(start)));
    return candidates.empty() ? nullptr : rl_completion_matches(word, next_candidate);
}

} // namespace

std::FILE* claim_standard_output() {
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe shows itself when it is written to
    const int rows = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    scratch = memfd_create("tarnsh", MFD_CLOEXEC);
    if (rows < 0 || scratch < 0 || dup2(scratch, STDOUT_FILENO) < 0) return nullptr;
    standard_output = rows;
    return fdopen(rows, "w");
}

std::string take_library_output() {
    std::string text;
    const off_t size = lseek(scratch, 0, SEEK_CUR);
    if (size <= 0) return text;
    text.resize(static_cast<std::size_t>(size));
    const ssize_t got = pread(scratch, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    if (ftruncate(scratch, 0) != 0) text.clear();
    lseek(scratch, 0, SEEK_SET);
    return text;
}

bool is_reader_gone() {
    return errno == EPIPE;
}

std::vector<std::string> command_line(int argc, char** argv) {
    return {argv, argv + argc};
}

std::FILE* open_file(const std::string& path, const char* mode) {
    return std::fopen(path.c_str(), mode);
}

// The file and the process of every program that was opened.
static std::map<std::FILE*, pid_t>& programs() {
    static std::map<std::FILE*, pid_t> running;
    return running;
}

// Runs a command of the system's shell in a child, with the real standard output.
static pid_t start_command(const std::string& command, int input, int output) {
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(input >= 0 ? input : STDIN_FILENO, STDIN_FILENO);
    dup2(output >= 0 ? output : standard_output, STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

std::FILE* open_program(const std::string& command, const char* mode) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    const bool reads = *mode == 'r';
    const pid_t child = start_command(command, reads ? -1 : ends[0], reads ? ends[1] : -1);
    close(ends[reads ? 1 : 0]);
    std::FILE* const file = child > 0 ? fdopen(ends[reads ? 0 : 1], mode) : nullptr;
    if (file)
        programs()[file] = child;
    else
        close(ends[reads ? 0 : 1]);
    return file;
}

static bool wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool close_program(std::FILE* program) {
    const pid_t child = programs()[program];
    programs().erase(program);
    std::fclose(program);
    return wait_for(child);
}

bool is_terminal(std::FILE* file) {
    return isatty(fileno(file)) != 0;
}

bool is_private(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

std::string address_of(const std::string& name, std::string& reason) {
    addrinfo hints{}, *found = nullptr;
    hints.ai_family = AF_INET;
    const int status = getaddrinfo(name.c_str(), nullptr, &hints, &found);
    if (status != 0) {
        reason = gai_strerror(status);
        return "";
    }
    char text[INET_ADDRSTRLEN] = "";
    const int unnamed =
        getnameinfo(found->ai_addr, found->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    if (unnamed != 0) reason = gai_strerror(unnamed);
    freeaddrinfo(found);
    return text;
}

bool read_secret(const std::string& prompt, std::string& secret) {
    const int tty = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    struct termios shown {};
    if (tty < 0 || tcgetattr(tty, &shown) != 0) return false;
    struct sigaction noted {
    }, before{};
    noted.sa_handler = note_interrupt; // Ctrl-C must not leave the terminal mute
    sigaction(SIGINT, &noted, &before);
    struct termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(tty, TCSAFLUSH, &hidden);
    bool good = write(tty, prompt.data(), prompt.size()) >= 0;
    secret.clear();
    for (char c = 0; good && c != '\n';) {
        good = read(tty, &c, 1) == 1;
        if (good && c != '\n') secret += c;
    }
    tcsetattr(tty, TCSAFLUSH, &shown);
    sigaction(SIGINT, &before, nullptr);
    good = write(tty, "\n", 1) == 1 && good;
    close(tty);
    return good;
}

void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = note_interrupt; // without SA_RESTART: line input is to notice
    sigaction(SIGINT, &action, nullptr);
}

bool is_interrupted() {
    return interrupts > 0;
}

void take_interrupt() {
    interrupts = 0;
}

void wait_seconds(double seconds) {
    timespec left{};
    left.tv_sec = static_cast<time_t>(seconds);
    left.tv_nsec = static_cast<long>((seconds - static_cast<double>(left.tv_sec)) * 1e9);
    while (!is_interrupted() && nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void start_line_input(const std::string& history_file, Completer completer) {
    // Without a locale in UTF-8, line input would swallow what is not ASCII.
    if (!std::setlocale(LC_CTYPE, "") || std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    complete_word = std::move(completer);
    history_path = history_file;
    static char name[] = "tarnsh";
    rl_readline_name = name;
    rl_instream = stdin;
    rl_outstream = stderr;
    rl_attempted_completion_function = complete;
    static char breaks[] = " \t\n\"'`();,=<>+-*|&{}[]";
    rl_basic_word_break_characters = breaks;
    rl_completer_word_break_characters = breaks;
    rl_initialize();
    using_history();
    stifle_history(1000);
    if (!history_path.empty()) read_history(history_path.c_str());
}

Line read_line(const std::string& prompt, std::string& line) {
    errno = 0;
    char* const text = readline(prompt.c_str());
    if (!text) {
        if (errno != EINTR) return Line::end; // it was Ctrl-C, or Ctrl-Z where nothing could be suspended
        take_interrupt();
        return Line::interrupted;
    }
    line = text;
    std::free(text);
    return Line::read;
}

void keep_in_history(const std::string& line) {
    const HIST_ENTRY* const last =
        history_length > 0 ? history_get(history_base + history_length - 1) : nullptr;
    if (last && line == last->line) return;
    add_history(line.c_str());
    if (!history_path.empty()) write_history(history_path.c_str()); // which makes the file its owner's alone
}

std::string default_history_file() {
    const char* const home = std::getenv("HOME");
    return home && *home ? std::string(home) + "/.tarnsh_history" : "";
}

} // namespace tarnsh
