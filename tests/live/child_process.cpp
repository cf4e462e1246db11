#include "child_process.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "tarnsql_live.XXXXXX";
    if (!::mkdtemp(name.data())) throw std::runtime_error("cannot make a temporary folder");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

[[noreturn]] static void become(char* const* arguments, const char* output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int file = ::open(output, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file >= 0 && ::dup2(file, STDOUT_FILENO) >= 0) ::execv(arguments[0], arguments);
    ::_exit(127);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::filesystem::path& output) {
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    id_ = ::fork();
    if (id_ == 0) become(arguments.data(), output.c_str());
    descriptor_ = id_ < 0 ? -1 : static_cast<int>(::syscall(SYS_pidfd_open, id_, 0));
    if (descriptor_ < 0) throw std::runtime_error("cannot start " + command.front());
}

ChildProcess::~ChildProcess() {
    if (!ended_) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    ::close(descriptor_);
}

void ChildProcess::signal(int number) const {
    if (!ended_) ::kill(id_, number);
}

std::optional<int> ChildProcess::wait() {
    pollfd end{descriptor_, POLLIN, 0};
    int status = 0;
    if (::poll(&end, 1, static_cast<int>(std::chrono::milliseconds(child_deadline).count())) != 1 ||
        ::waitpid(id_, &status, 0) != id_)
        return std::nullopt;
    ended_ = true;
    return status;
}
