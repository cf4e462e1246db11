/*
 * The wrapped allocations; see the header. Names that the linker gives: a call of malloc comes to
 * __wrap_malloc, and __real_malloc is malloc.
 */
#include "watched_memory.h"

#include <algorithm>
#include <cstring>
#include <malloc.h>

thread_local Watch* watch = nullptr;

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
}

namespace {

bool denied(std::size_t size) {
    if (watch == nullptr) return false;
    watch->largest = std::max(watch->largest, size);
    ++watch->taken;
    return watch->taken >= watch->first_to_fail && watch->taken <= watch->last_to_fail;
}

void forget(void* block) {
    if (watch == nullptr) return;
    const auto found = watch->live.find(block);
    if (found == watch->live.end()) return;
    watch->held -= found->second;
    watch->live.erase(found);
}

void* kept(void* block) {
    if (watch == nullptr || block == nullptr) return block;
    const std::size_t size = malloc_usable_size(block) + sizeof(std::size_t);
    watch->live[block] = size;
    watch->held += size;
    watch->most_held = std::max(watch->most_held, watch->held);
    return block;
}

} // namespace

extern "C" {
void* __wrap_malloc(std::size_t size) {
    return denied(size) ? nullptr : kept(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return denied(count * size) ? nullptr : kept(__real_calloc(count, size));
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (denied(size)) return nullptr;
    void* moved = __real_realloc(block, size);
    if (moved != nullptr) forget(block);
    return kept(moved);
}
void __wrap_free(void* block) {
    if (watch != nullptr && block != nullptr) std::memset(block, 0xDB, malloc_usable_size(block));
    forget(block);
    __real_free(block);
}
}
