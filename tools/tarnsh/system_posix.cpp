// Programs, files and names.
#include "terminal.h"

#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <netdb.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace tarnsh {

void prepare_process() {
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is a failed write
#ifdef __GLIBC__
    // Memory freed by one batch of a copy serves the next without a system call.
    mallopt(M_MMAP_THRESHOLD, 16 << 20);
    mallopt(M_TRIM_THRESHOLD, 32 << 20);
#endif
}

bool is_reader_gone() {
    return errno == EPIPE;
}

std::vector<std::string> command_line(int argc, char** argv) {
    return {argv, argv + argc};
}

void hide_argument(char* argument, std::size_t offset) {
    std::memset(argument + offset, 'x', std::strlen(argument + offset));
}

std::FILE* open_file(const std::string& path, const char* mode) {
    return std::fopen(path.c_str(), (std::string(mode) + "e").c_str());
}

std::FILE* open_program(const std::string& command, const char* mode) {
    std::signal(SIGPIPE, SIG_DFL); // which programs inherit
    std::FILE* const program = popen(command.c_str(), (std::string(mode) + "e").c_str());
    std::signal(SIGPIPE, SIG_IGN);
    return program;
}

bool close_program(std::FILE* program) {
    return pclose(program) == 0;
}

int run_program(const std::string& command) {
    const char* const shell = std::getenv("SHELL");
    std::signal(SIGPIPE, SIG_DFL);
    const int status = std::system(command.empty() ? (shell && *shell ? shell : "/bin/sh") : command.c_str());
    std::signal(SIGPIPE, SIG_IGN);
    return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool has_program(const std::string& name) {
    const char* const path = std::getenv("PATH");
    for (std::string rest = path ? path : "/usr/bin:/bin"; !rest.empty();) {
        const std::size_t end = rest.find(':');
        std::string file = rest.substr(0, end);
        file += '/';
        file += name;
        if (access(file.c_str(), X_OK) == 0) return true;
        rest.erase(0, end == rest.npos ? end : end + 1);
    }
    return false;
}

bool is_private(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

std::FILE* open_private_file(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    return file >= 0 ? fdopen(file, "a") : nullptr;
}

std::string make_temporary_file() {
    const char* const folder = std::getenv("TMPDIR");
    std::string name = std::string(folder && *folder ? folder : "/tmp") + "/tarnsh.XXXXXX.sql";
    const int file = mkstemps(name.data(), 4);
    if (file < 0) return "";
    close(file);
    return name;
}

std::string home_directory() {
    if (const char* const home = std::getenv("HOME")) return home;
    const passwd* const user = getpwuid(getuid());
    return user ? user->pw_dir : "";
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

} // namespace tarnsh
