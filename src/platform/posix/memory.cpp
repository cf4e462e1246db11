// Blocks and pages of memory on POSIX systems.
#include "platform/platform.h"

#include <cstdlib>

#include <sys/mman.h>

namespace tarn::platform {

// The C library resizes large blocks by moving their pages.
void* resize_block(void* block, size_t size) noexcept {
    return std::realloc(block, size);
}

void release_block(void* block) noexcept {
    std::free(block);
}

void prefault_pages([[maybe_unused]] void* memory, [[maybe_unused]] size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE // Linux 5.14 and later; older ones refuse it
    constexpr uintptr_t page = 4096;
    const uintptr_t start = reinterpret_cast<uintptr_t>(memory);
    const uintptr_t first = (start + page - 1) & ~(page - 1);
    const uintptr_t end = (start + size) & ~(page - 1);
    if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
#endif
}

} // namespace tarn::platform
