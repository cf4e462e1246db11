// Wiping secrets: the compiler cannot drop the stores, even if the memory is never read again.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace tarn {

inline void wipe(void* memory, size_t size) noexcept {
    __asm__("" : "+r"(size)); // with a constant size the compiler would emit a slow string instruction
    std::memset(memory, 0, size);
    // The compiler must assume that this statement reads the memory, and so cannot drop the zeros before it.
    __asm__ __volatile__("" : : "r"(memory) : "memory");
}

// Wipes an object or array of the caller on every exit from the enclosing block.
class WipeOnExit {
  public:
    WipeOnExit(void* memory, size_t size) noexcept : memory_(memory), size_(size) {}
    template <class T> explicit WipeOnExit(T& object) noexcept : WipeOnExit(&object, sizeof object) {
        static_assert(std::is_trivially_copyable_v<T>);
        static_assert(!std::is_pointer_v<T>, "give the size of what the pointer designates");
    }
    ~WipeOnExit() { wipe(memory_, size_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

  private:
    void* memory_;
    size_t size_;
};

} // namespace tarn
