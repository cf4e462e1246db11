// Blocks and pages of memory on Windows.
//
// The Windows heap copies a large block to resize it. Large blocks therefore get their own address space,
// reserved with room to grow and committed as it is used.
#include "platform/platform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <windows.h>

namespace tarn::platform {

namespace {

// The header of every block; its user gets the address after it.
struct alignas(16) BlockHead {
    size_t reserved; // address space, this header included; 0: a heap block
    size_t size;     // of the user's part
};

} // namespace

static constexpr size_t smallest_reserved = 65536; // the allocation granularity
static constexpr size_t growth_reserved = 64;      // times the size: unused address space is free

static BlockHead* head_of(void* block) noexcept {
    return static_cast<BlockHead*>(block) - 1;
}

static BlockHead* make_block(size_t size) noexcept {
    const size_t total = size + sizeof(BlockHead);
    BlockHead* head;
    if (total < smallest_reserved) {
        head = static_cast<BlockHead*>(std::malloc(total));
        if (head) *head = {0, size};
        return head;
    }
    size_t reserved = total * growth_reserved;
    void* memory = VirtualAlloc(nullptr, reserved, MEM_RESERVE, PAGE_NOACCESS);
    if (!memory) memory = VirtualAlloc(nullptr, reserved = total, MEM_RESERVE, PAGE_NOACCESS);
    if (!memory) return nullptr;
    head = static_cast<BlockHead*>(VirtualAlloc(memory, total, MEM_COMMIT, PAGE_READWRITE));
    if (head)
        *head = {reserved, size};
    else
        VirtualFree(memory, 0, MEM_RELEASE);
    return head;
}

// Commits or releases pages at the end. False when the block must move, or memory is short.
static bool resize_in_place(BlockHead* head, size_t size) noexcept {
    const size_t total = size + sizeof(BlockHead);
    if (total > head->reserved) return false;
    if (size > head->size) {
        if (!VirtualAlloc(head, total, MEM_COMMIT, PAGE_READWRITE)) return false;
    } else {
        constexpr size_t page = 4096;
        const size_t kept = (total + page - 1) / page * page;
        const size_t had = (head->size + sizeof(BlockHead) + page - 1) / page * page;
        if (kept < had) VirtualFree(reinterpret_cast<char*>(head) + kept, had - kept, MEM_DECOMMIT);
    }
    head->size = size;
    return true;
}

void* resize_block(void* block, size_t size) noexcept {
    if (block && resize_in_place(head_of(block), size)) return block;
    BlockHead* head = make_block(size);
    if (!head) return nullptr;
    if (block) {
        std::memcpy(head + 1, block, std::min(size, head_of(block)->size));
        release_block(block);
    }
    return head + 1;
}

void release_block(void* block) noexcept {
    if (!block) return;
    BlockHead* head = head_of(block);
    if (head->reserved)
        VirtualFree(head, 0, MEM_RELEASE);
    else
        std::free(head);
}

void prefault_pages(void*, size_t) noexcept {}

} // namespace tarn::platform
