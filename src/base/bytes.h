// Loads and stores of integers in memory that need not be aligned: host order inside stored rows, big-endian on the wire.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tarn {

template <class T> T load(const void* from) noexcept {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T> void store(void* to, T value) noexcept {
    std::memcpy(to, &value, sizeof value);
}

inline uint8_t wire_order(uint8_t value) noexcept {
    return value;
}
inline uint16_t wire_order(uint16_t value) noexcept {
    return std::endian::native == std::endian::big ? value : __builtin_bswap16(value);
}
inline uint32_t wire_order(uint32_t value) noexcept {
    return std::endian::native == std::endian::big ? value : __builtin_bswap32(value);
}
inline uint64_t wire_order(uint64_t value) noexcept {
    return std::endian::native == std::endian::big ? value : __builtin_bswap64(value);
}

// T is uint8_t, uint16_t, uint32_t or uint64_t.
template <class T> T load_wire(const void* from) noexcept {
    return wire_order(load<T>(from));
}
template <class T> void store_wire(void* to, T value) noexcept {
    store(to, wire_order(value));
}

// Short runs are copied and cleared in steps, without a call. Up to so many bytes behind their ends are read and written too:
// the areas must have them, and what they hold must not matter.
inline constexpr size_t copy_slack = 15;

inline void copy_with_slack(uint8_t* to, const uint8_t* from, size_t size) noexcept {
    for (size_t at = 0; at < size; at += 16)
        std::memcpy(to + at, from + at, 16);
}
inline void clear_with_slack(uint8_t* to, size_t size) noexcept {
    store(to, uint64_t{0});
    if (size > sizeof(uint64_t)) std::memset(to, 0, size);
}

} // namespace tarn
