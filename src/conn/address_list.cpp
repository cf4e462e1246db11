#include "conn/address_list.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <random>
#include <utility>

#include "base/memory.h"
#include "conn/messages.h"
#include "wire/lines.h"

namespace tarn {

void release_address_list(IpsAttrs* list) noexcept {
    if (!list) return;
    for (int32_t i = 0; i < list->count; ++i)
        release(list->addresses[i]);
    release(list->addresses);
    release(list);
}

static OwnedAddressList create_list(int32_t capacity) noexcept {
    OwnedAddressList list(allocate_record<IpsAttrs>());
    if (list) list->addresses = allocate_array<char*>(static_cast<size_t>(capacity)).release();
    return list && list->addresses ? std::move(list) : nullptr;
}

static bool add_address(IpsAttrs& list, std::string_view text) noexcept {
    char* copy = copy_text(text.data(), text.size()).release();
    if (copy) list.addresses[list.count++] = copy;
    return copy != nullptr;
}

OwnedAddressList parse_address_list(std::string_view text) noexcept {
    constexpr int32_t limit = 100;
    OwnedAddressList list = create_list(limit);
    for (size_t comma = 0; list && comma != std::string_view::npos;) {
        comma = text.find(',');
        if (comma != std::string_view::npos && list->count == limit - 1) {
            print_line(message::print_address_list_too_long);
            return list;
        }
        if (!add_address(*list, text.substr(0, comma))) return nullptr;
        if (comma != std::string_view::npos) text.remove_prefix(comma + 1);
    }
    return list;
}

OwnedAddressList copy_address_list(const IpsAttrs& list) noexcept {
    OwnedAddressList copy = create_list(list.count);
    if (!copy) return nullptr;
    for (int32_t i = 0; i < list.count; ++i)
        if (!add_address(*copy, list.addresses[i])) return nullptr;
    copy->remaining = list.count;
    return copy;
}

// The counter makes choices in the same second differ.
void choose_any(IpsAttrs& list) noexcept {
    static std::atomic<uint32_t> choices;
    std::minstd_rand generator(static_cast<uint32_t>(std::time(nullptr)) + ++choices);
    list.current = static_cast<int32_t>(generator() % static_cast<uint32_t>(list.count));
}

void choose_by_number(IpsAttrs& list, int64_t number) noexcept {
    const int64_t rest = number % list.remaining;
    list.current = static_cast<int32_t>(rest < 0 ? rest + list.remaining : rest);
}

void set_current_aside(IpsAttrs& list) noexcept {
    std::swap(list.addresses[list.current], list.addresses[--list.remaining]);
}

} // namespace tarn
