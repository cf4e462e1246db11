// Arguments, limits and stop signals of POSIX systems.
#include "process.h"

#include <csignal>
#include <sys/resource.h>

namespace tarnlite {

namespace {

sigset_t stop_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

std::vector<std::string> command_line(int argc, char** argv) {
    return {argv, argv + argc};
}

void raise_descriptor_limit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

void hold_stop_signals() {
    const sigset_t signals = stop_signals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void wait_for_stop_signal() {
    const sigset_t signals = stop_signals();
    int arrived = 0;
    while (::sigwait(&signals, &arrived) != 0) {
    }
}

} // namespace tarnlite
