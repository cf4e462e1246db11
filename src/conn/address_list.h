// The server addresses of a connection string, and the search through them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace tarn {

// A connection keeps the list of its string whole; each search works on a copy of its own.
struct IpsAttrs {
    int32_t count;
    int32_t current;   // index of the address being tried
    int32_t remaining; // addresses not known to be dead: the first ones in addresses
    char** addresses;  // owned texts, in the written order until one is found dead
};

void release_address_list(IpsAttrs* list) noexcept;

struct AddressListReleaser {
    void operator()(IpsAttrs* list) const noexcept { release_address_list(list); }
};
using OwnedAddressList = std::unique_ptr<IpsAttrs, AddressListReleaser>;

// The pieces between commas, unchanged, blanks included. The hundredth comma ends the list with 99 addresses.
// Null when memory is short.
OwnedAddressList parse_address_list(std::string_view text) noexcept;

// A copy for a search, with all addresses alive; null when memory is short.
OwnedAddressList copy_address_list(const IpsAttrs& list) noexcept;

// Makes a random address the current one.
void choose_any(IpsAttrs& list) noexcept;

// Makes the address at number, modulo those still alive, the current one.
void choose_by_number(IpsAttrs& list, int64_t number) noexcept;

// Marks the current address as dead; the last one alive takes its place. At least two must be left.
void set_current_aside(IpsAttrs& list) noexcept;

} // namespace tarn
