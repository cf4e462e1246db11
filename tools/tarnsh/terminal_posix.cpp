// The terminal: its size, keys and secrets, and Ctrl-C.
#include "terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

namespace tarnsh {

namespace {

std::atomic<int> interrupts = 0, resizes = 0; // lock-free, as a signal handler needs it
sem_t interrupt_told;
int terminal = STDERR_FILENO;
struct termios usual {};

extern "C" void note_interrupt(int) {
    ++interrupts;
}

extern "C" void tell_interrupt(int) {
    ++interrupts;
    sem_post(&interrupt_told);
}

extern "C" void note_resize(int) {
    ++resizes;
}

// Without SA_RESTART: Ctrl-C must end a wait.
void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(signal, &action, nullptr);
}

} // namespace

bool is_terminal(std::FILE* file) {
    return isatty(fileno(file)) != 0;
}

bool read_secret(const std::string& prompt, std::string& secret) {
    const int tty = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    struct termios shown {};
    if (tty < 0 || tcgetattr(tty, &shown) != 0) return false;
    struct sigaction noted {
    }, before{};
    noted.sa_handler = note_interrupt; // Ctrl-C must not leave the terminal without echo
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

void catch_interrupts(void (*told)()) {
    sem_init(&interrupt_told, 0, 0);
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // signals are for the shell's own thread
    std::thread([told] {
        for (;;)
            if (sem_wait(&interrupt_told) == 0) told();
    }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    handle(SIGINT, tell_interrupt);
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

TerminalSize terminal_size() {
    struct winsize size {};
    for (const int descriptor : {STDERR_FILENO, STDOUT_FILENO, STDIN_FILENO})
        if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
            return {size.ws_col, size.ws_row};
    return {80, 24};
}

bool start_keys() {
    terminal = isatty(STDERR_FILENO) ? STDERR_FILENO : STDIN_FILENO;
    if (tcgetattr(STDIN_FILENO, &usual) != 0) return false;
    struct termios raw = usual;
    raw.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IXON | ISTRIP);
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    handle(SIGWINCH, note_resize);
    return tcsetattr(STDIN_FILENO, TCSADRAIN, &raw) == 0; // keeps what was typed ahead
}

void stop_keys() {
    tcsetattr(STDIN_FILENO, TCSADRAIN, &usual);
}

Keys read_keys(std::string& bytes, int wait_ms) {
    bytes.clear();
    for (;;) {
        if (resizes.exchange(0) > 0) return Keys::resized;
        struct pollfd input {
            STDIN_FILENO, POLLIN, 0
        };
        const int ready = poll(&input, 1, wait_ms);
        if (ready == 0) return Keys::none;
        if (ready < 0 && errno != EINTR) return Keys::end;
        if (ready < 0) continue;
        char area[4096];
        const ssize_t got = read(STDIN_FILENO, area, sizeof area);
        if (got > 0) {
            bytes.assign(area, static_cast<std::size_t>(got));
            return Keys::read;
        }
        if (got == 0 || errno != EINTR) return Keys::end;
    }
}

void suspend() {
    kill(0, SIGTSTP);
}

void write_terminal(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(terminal, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && errno == EAGAIN) {
            struct pollfd output {
                terminal, POLLOUT, 0
            };
            poll(&output, 1, -1);
            continue;
        }
        if (written < 0) return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace tarnsh
