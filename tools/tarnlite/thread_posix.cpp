// Threads of POSIX systems.
#include "thread.h"

#include <memory>
#include <pthread.h>
#include <system_error>

namespace tarnlite {

static_assert(sizeof(pthread_t) <= sizeof(std::uintptr_t));

static void* run(void* body) {
    const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(body));
    (*owned)();
    return nullptr;
}

Thread::Thread(std::function<void()> body) {
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    pthread_attr_t attributes;
    int failure = ::pthread_attr_init(&attributes);
    if (failure == 0) {
        pthread_t started{};
        ::pthread_attr_setstacksize(&attributes, thread_stack_size);
        failure = ::pthread_create(&started, &attributes, run, owned.get());
        ::pthread_attr_destroy(&attributes);
        handle_ = static_cast<std::uintptr_t>(started);
    }
    if (failure != 0) {
        handle_ = 0;
        throw std::system_error(failure, std::generic_category(), "cannot start a thread");
    }
    static_cast<void>(owned.release()); // the thread's
}

void Thread::join() {
    if (handle_ != 0) ::pthread_join(static_cast<pthread_t>(std::exchange(handle_, 0)), nullptr);
}

} // namespace tarnlite
