#include "base/memory.h"

#include <cstdlib>
#include <cstring>

namespace tarn {

void* allocate_zeroed(size_t size) noexcept {
    return std::calloc(1, size ? size : 1);
}

void* allocate_raw(size_t size) noexcept {
    return std::malloc(size ? size : 1);
}

void* resize_zeroed(void* block, size_t old_size, size_t new_size) noexcept {
    void* resized = std::realloc(block, new_size ? new_size : 1);
    if (resized && new_size > old_size)
        std::memset(static_cast<char*>(resized) + old_size, 0, new_size - old_size);
    return resized;
}

void release(void* block) noexcept {
    std::free(block);
}

bool resize(Owned<char>& block, size_t size) noexcept {
    void* resized = std::realloc(block.get(), size ? size : 1);
    if (!resized) return false;
    (void)block.release();
    block.reset(static_cast<char*>(resized));
    return true;
}

Owned<char> copy_text(const char* text, size_t length) noexcept {
    Owned<char> copy(static_cast<char*>(allocate_zeroed(length + 1)));
    if (copy && length) std::memcpy(copy.get(), text, length);
    return copy;
}

} // namespace tarn
