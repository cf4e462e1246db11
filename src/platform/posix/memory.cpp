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
    constexpr size_t page = 4096;
    const size_t before = (page - reinterpret_cast<uintptr_t>(memory) % page) % page; // the first whole page
    if (size < before + page) return;
    madvise(static_cast<char*>(memory) + before, (size - before) / page * page, MADV_POPULATE_WRITE);
#endif
}

} // namespace tarn::platform
