/*
 * The library's allocations, taken over by the test: programs that link this wrap malloc, calloc, realloc and
 * free. Only the thread that sets watch is looked at; what the C++ library allocates for the test itself does
 * not come here.
 */
#ifndef WATCHED_MEMORY_H
#define WATCHED_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>

struct Watch {
    std::unordered_map<void*, std::size_t> live;     /* with what the heap needs to keep a block */
    std::size_t held = 0, most_held = 0;             /* the sum of live */
    std::size_t largest = 0;                         /* asked for at once */
    std::size_t taken = 0;                           /* allocations asked for */
    std::size_t first_to_fail = 0, last_to_fail = 0; /* counted from 1 */

    void fail(std::size_t first, std::size_t last) {
        first_to_fail = first;
        last_to_fail = last;
    }
};
extern thread_local Watch* watch;

class Watched {
  public:
    explicit Watched(Watch& used) { watch = &used; }
    ~Watched() { watch = nullptr; }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
};

#endif
