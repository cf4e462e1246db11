// A semaphore and not a mutex: any thread may release it, not only the one that acquired it.
#include "platform/platform.h"

#include <windows.h>

namespace tarn::platform {

// Lock is never dereferenced: its address is the system's semaphore handle.
static HANDLE handle(Lock* lock) {
    return reinterpret_cast<HANDLE>(lock);
}

Lock* create_lock() noexcept {
    const HANDLE semaphore = CreateSemaphoreA(nullptr, 0, 2000000000, nullptr);
    if (semaphore) ReleaseSemaphore(semaphore, 1, nullptr);
    return reinterpret_cast<Lock*>(semaphore);
}

void destroy_lock(Lock* lock) noexcept {
    if (lock) CloseHandle(handle(lock));
}

void acquire(Lock* lock) noexcept {
    WaitForSingleObject(handle(lock), INFINITE);
}

void give_back(Lock* lock) noexcept {
    ReleaseSemaphore(handle(lock), 1, nullptr);
}

} // namespace tarn::platform
