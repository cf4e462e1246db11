#include "live_server.h"

#include <csignal>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Tells when a file has been put into a folder.
class ArrivalWatch {
  public:
    explicit ArrivalWatch(const std::filesystem::path& folder) : descriptor_(::inotify_init1(IN_CLOEXEC)) {
        if (::inotify_add_watch(descriptor_, folder.c_str(), IN_MOVED_TO) < 0)
            throw std::runtime_error("cannot watch " + folder.string());
    }
    ~ArrivalWatch() { ::close(descriptor_); }
    ArrivalWatch(const ArrivalWatch&) = delete;
    ArrivalWatch& operator=(const ArrivalWatch&) = delete;

    // False when the process ends or the deadline passes first.
    bool wait(const ChildProcess& process) const {
        pollfd events[] = {{descriptor_, POLLIN, 0}, {process.descriptor(), POLLIN, 0}};
        const auto limit = std::chrono::milliseconds(child_deadline).count();
        return ::poll(events, 2, static_cast<int>(limit)) > 0 && (events[0].revents & POLLIN) != 0;
    }

  private:
    int descriptor_;
};

} // namespace

LiveServer::LiveServer(const std::vector<std::string>& options, unsigned port) {
    const std::filesystem::path port_file = folder_ / "port";
    std::vector<std::string> command{TARNLITE_PROGRAM, "--port", std::to_string(port), "--port-file",
                                     port_file};
    command.insert(command.end(), options.begin(), options.end());
    const ArrivalWatch arrival(port_file.parent_path());
    process_ = std::make_unique<ChildProcess>(command, folder_ / "log");
    if (!arrival.wait(*process_) || !(std::ifstream(port_file) >> port_))
        throw std::runtime_error("tarnlite does not listen");
}

LiveServer::~LiveServer() {
    if (killed_) return;
    process_->signal(SIGTERM);
    const std::optional<int> status = process_->wait();
    EXPECT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0)
        << "tarnlite left with wait status " << status.value_or(-1);
}

std::string LiveServer::connection_string(const std::string& settings) const {
    return "server=127.0.0.1;port=" + std::to_string(port_) + ";db=demo;user=ada;pwd=secret;" + settings;
}

void LiveServer::kill() {
    killed_ = true;
    process_->signal(SIGKILL);
    EXPECT_TRUE(process_->wait());
}
