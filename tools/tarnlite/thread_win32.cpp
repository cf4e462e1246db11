// Threads of Windows.
#include "thread.h"

#include <windows.h>

#include <memory>
#include <system_error>

namespace tarnlite {

static DWORD WINAPI run(void* body) {
    const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(body));
    (*owned)();
    return 0;
}

Thread::Thread(std::function<void()> body) {
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    // Without the flag the size would be committed at once.
    const HANDLE started = CreateThread(nullptr, thread_stack_size, run, owned.get(),
                                        STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!started) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "cannot start a thread");
    }
    handle_ = reinterpret_cast<std::uintptr_t>(started);
    static_cast<void>(owned.release()); // the thread's
}

void Thread::join() {
    if (handle_ == 0) return;
    const auto handle = reinterpret_cast<HANDLE>(std::exchange(handle_, 0));
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
}

} // namespace tarnlite
