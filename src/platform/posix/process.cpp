// Output, environment, time and threads of POSIX systems.
#include "platform/platform.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sched.h>

namespace tarn::platform {

// SIGPIPE goes to the writing thread: it is blocked there, and one that became pending is consumed.
void write_text(std::FILE* file, const char* text) noexcept {
    sigset_t broken_pipe, before, pending;
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    sigpending(&pending);
    const bool was_pending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &broken_pipe, &before);
    std::fputs(text, file);
    std::fflush(file);
    sigpending(&pending);
    const timespec no_wait{};
    if (!was_pending && sigismember(&pending, SIGPIPE) == 1) sigtimedwait(&broken_pipe, nullptr, &no_wait);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

const char* environment(const char* name) noexcept {
    return secure_getenv(name);
}

void yield_thread() noexcept {
    sched_yield();
}

int64_t monotonic_ms() noexcept {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

} // namespace tarn::platform
