// Integers and floating-point values in the wire's byte order, the most significant byte first.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace tarnlite {

template <std::integral Integer> void put_integer(std::string& out, Integer value) {
    const auto bits = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<Integer>>(value));
    for (std::size_t left = sizeof(Integer); left-- > 0;) {
        out.push_back(static_cast<char>((bits >> (8 * left)) & 0xFF));
    }
}

inline void put_float(std::string& out, float value) {
    put_integer(out, std::bit_cast<std::uint32_t>(value));
}

inline void put_double(std::string& out, double value) {
    put_integer(out, std::bit_cast<std::uint64_t>(value));
}

// With as many bytes as the integer has.
template <std::integral Integer> Integer integer_of(std::string_view bytes) {
    std::make_unsigned_t<Integer> bits = 0;
    for (const char byte : bytes.substr(0, sizeof(Integer)))
        bits = static_cast<std::make_unsigned_t<Integer>>(std::uint64_t{bits} << 8 |
                                                          static_cast<unsigned char>(byte));
    return static_cast<Integer>(bits);
}

// A length and the bytes, without terminator.
inline void put_text(std::string& out, std::string_view text) {
    put_integer(out, static_cast<std::uint32_t>(text.size()));
    out.append(text);
}

} // namespace tarnlite
