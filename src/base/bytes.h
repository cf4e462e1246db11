// Loads and stores of numbers in memory that need not be aligned: in host order, or big-endian as on the
// wire.
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

template <size_t size> struct UnsignedOf;
template <> struct UnsignedOf<1> { using type = uint8_t; };
template <> struct UnsignedOf<2> { using type = uint16_t; };
template <> struct UnsignedOf<4> { using type = uint32_t; };
template <> struct UnsignedOf<8> { using type = uint64_t; };

// T is a number of 1, 2, 4 or 8 bytes.
template <class T> T load_wire(const void* from) noexcept {
    return std::bit_cast<T>(wire_order(load<typename UnsignedOf<sizeof(T)>::type>(from)));
}
template <class T> void store_wire(void* to, T value) noexcept {
    store(to, wire_order(std::bit_cast<typename UnsignedOf<sizeof(T)>::type>(value)));
}

// A shorter run may be copied as short_run bytes, without a call or a branch on its size, where both areas
// extend that far and the excess bytes do not matter.
inline constexpr size_t short_run = 64;

inline void copy_short_run(uint8_t* to, const uint8_t* from) noexcept {
    std::memcpy(to, from, short_run);
}

} // namespace tarn
