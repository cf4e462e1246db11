/*
 * Memory between two pages that nobody may touch: an area that ends at the one or begins at the other shows
 * the first byte that is read or written beside it, in every build. Without such pages on Windows, where it
 * is plain memory.
 */
#ifndef TEST_SUPPORT_GUARDED_H
#define TEST_SUPPORT_GUARDED_H

#include <cstddef>
#include <stdexcept>

#ifdef _WIN32
#include <vector>
#else
#include <sys/mman.h>
#endif

namespace test_support {

class Guarded {
  public:
#ifdef _WIN32
    explicit Guarded(std::size_t size) : size_(size), memory_(size) {}
    char* begin() {
        return memory_.data();
    }
#else
    explicit Guarded(std::size_t size) : size_((size + page - 1) / page * page) {
        void* all = mmap(nullptr, size_ + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (all == MAP_FAILED) throw std::runtime_error("no memory");
        begin_ = static_cast<char*>(all) + page;
        if (mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) throw std::runtime_error("no pages");
    }
    ~Guarded() {
        munmap(begin_ - page, size_ + 2 * page);
    }
    char* begin() {
        return begin_;
    }
#endif
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    /* The last bytes, or the first ones. */
    char* area(std::size_t size, bool last = true) {
        return last ? begin() + size_ - size : begin();
    }

  private:
    static constexpr std::size_t page = 4096;
    std::size_t size_;
#ifdef _WIN32
    std::vector<char> memory_;
#else
    char* begin_;
#endif
};

} // namespace test_support

#endif
