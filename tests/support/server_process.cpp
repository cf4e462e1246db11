#include "server_process.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using std::chrono::milliseconds;

Folder::Folder() {
    std::string name = std::filesystem::temp_directory_path() / "tarnsql_test.XXXXXX";
    if (!::mkdtemp(name.data())) throw std::runtime_error("cannot make a folder");
    path_ = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Program::Program(const std::vector<std::string>& command, unsigned long descriptors)
    : errors_(std::tmpfile()) {
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    int pipe[2];
    if (!errors_ || ::pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
    id_ = ::fork();
    if (id_ == 0) {
        const rlimit limit{descriptors, descriptors};
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (descriptors > 0) ::setrlimit(RLIMIT_NOFILE, &limit);
        ::dup2(pipe[1], STDOUT_FILENO);
        ::dup2(::fileno(errors_.get()), STDERR_FILENO);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    output_ = pipe[0];
    descriptor_ = id_ < 0 ? -1 : static_cast<int>(::syscall(SYS_pidfd_open, id_, 0));
    if (descriptor_ < 0) throw std::runtime_error("cannot start a program");
}

Program::~Program() {
    if (!ended_) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    ::close(output_);
    ::close(descriptor_);
}

std::string Program::line() {
    std::string line;
    for (char byte = 0; byte != '\n';) {
        pollfd entry{output_, POLLIN, 0};
        if (::poll(&entry, 1, 60'000) != 1) throw std::runtime_error("a program does not speak");
        if (::read(output_, &byte, 1) != 1) break;
        line.push_back(byte);
    }
    return line;
}

std::string Program::rest() {
    std::string all;
    for (std::string next = line(); !next.empty(); next = line())
        all += next;
    return all;
}

std::string Program::errors() const {
    std::string text(64 * 1024, '\0');
    const ssize_t size = ::pread(::fileno(errors_.get()), text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
}

void Program::signal(int number) const {
    if (!ended_) ::kill(id_, number);
}

std::optional<int> Program::wait(milliseconds time) {
    pollfd end{descriptor_, POLLIN, 0};
    int status = 0;
    if (::poll(&end, 1, static_cast<int>(time.count())) != 1 || ::waitpid(id_, &status, 0) != id_)
        return std::nullopt;
    ended_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

milliseconds Program::processor_time() const {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(id_, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
        throw std::runtime_error("a program has ended");
    return milliseconds(time.tv_sec * 1000 + time.tv_nsec / 1'000'000);
}

ServerProcess::ServerProcess(std::vector<std::string> options, unsigned long descriptors)
    : Program(
          [&] {
              options.insert(options.begin(), {TARNLITE_PROGRAM, "--port", "0"});
              return options;
          }(),
          descriptors) {
    const std::string told = line();
    if (told.find("listening on") == std::string::npos) throw std::runtime_error("tarnlite: " + errors());
    port_ = static_cast<std::uint16_t>(std::stoul(told.substr(told.rfind(':') + 1)));
}

void ServerProcess::await_work(milliseconds work) const {
    const auto enough = processor_time() + work;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (processor_time() < enough) {
        if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("tarnlite does not work");
        std::this_thread::yield();
    }
}
