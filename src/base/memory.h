// The library's heap: every record and buffer is allocated here and freed by release.
// A failed allocation yields null; nothing here throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tarn {

void* allocate_zeroed(size_t size) noexcept;

// Not zeroed: for buffers that are written before they are read.
void* allocate_raw(size_t size) noexcept;

// Resizes a block, keeping its content up to the smaller size; bytes beyond old_size are zero. On failure the
// block is unchanged.
void* resize_zeroed(void* block, size_t old_size, size_t new_size) noexcept;

void release(void* block) noexcept;

struct Releaser {
    void operator()(void* block) const noexcept { release(block); }
};

// Owner of one heap block (a text, an array, a record without members to release).
template <class T> using Owned = std::unique_ptr<T, Releaser>;

// Resizes an owned block, or makes one. False when memory is short: the block is unchanged.
bool resize(Owned<char>& block, size_t size) noexcept;

template <class T> T* allocate_record() noexcept {
    return static_cast<T*>(allocate_zeroed(sizeof(T)));
}

template <class T> Owned<T[]> allocate_array(size_t count) noexcept {
    if (count > SIZE_MAX / sizeof(T)) return nullptr;
    return Owned<T[]>(static_cast<T*>(allocate_zeroed(count * sizeof(T))));
}

// A NUL-terminated copy of length bytes; null when memory is short.
Owned<char> copy_text(const char* text, size_t length) noexcept;

} // namespace tarn
