// A semaphore and not a mutex: any thread may release it, not only the one that acquired it.
#include "platform/platform.h"

#include <cerrno>
#include <semaphore.h>

#include "base/memory.h"

namespace tarn::platform {

struct Lock {
    sem_t semaphore;
};

Lock* create_lock() noexcept {
    Owned<Lock> lock(allocate_record<Lock>());
    if (lock && sem_init(&lock->semaphore, 0, 1) != 0) return nullptr;
    return lock.release();
}

void destroy_lock(Lock* lock) noexcept {
    if (!lock) return;
    sem_destroy(&lock->semaphore);
    release(lock);
}

void acquire(Lock* lock) noexcept {
    while (sem_wait(&lock->semaphore) != 0 && errno == EINTR) {
    }
}

void give_back(Lock* lock) noexcept {
    sem_post(&lock->semaphore);
}

} // namespace tarn::platform
