// A thread with a stack of known size, whatever the system's default: implemented in thread_posix.cpp and
// thread_win32.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace tarnlite {

// Address space: memory is committed as the stack grows. SQLite's deepest recursion, LIKE with 25,000
// wildcards (the longest pattern), takes 3.4 MiB.
constexpr std::size_t thread_stack_size = 8 * 1024 * 1024;

class Thread {
  public:
    Thread() = default;
    // Throws std::system_error when no thread can be created.
    explicit Thread(std::function<void()> body);
    Thread(Thread&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
    Thread& operator=(Thread&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    ~Thread() { join(); }

    // Waits for its end, if it was started.
    void join();

  private:
    std::uintptr_t handle_ = 0;
};

} // namespace tarnlite
