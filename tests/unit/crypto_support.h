// What the tests of the cipher and its arithmetic share: hexadecimal constants and numbers made of awkward
// digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "crypto/multi_precision.h"
#include "crypto/turing.h"

namespace tarn {

using Bytes = std::vector<uint8_t>;
using Number = std::vector<Digit>;

inline Bytes bytes_of_hex(std::string_view hex) {
    Bytes bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

// The plain text of the cipher, block after block.
inline Bytes keystream(std::string_view key_hex, std::string_view iv_hex, size_t length) {
    const Bytes key = bytes_of_hex(key_hex);
    const Bytes iv = bytes_of_hex(iv_hex);
    TuringState state{};
    turing_set_key(state, key.data(), key.size());
    EXPECT_TRUE(turing_set_iv(state, iv.data(), iv.size()));
    Bytes stream;
    uint8_t block[turing_block_size];
    while (stream.size() < length) {
        EXPECT_EQ(turing_generate(state, block), 340);
        stream.insert(stream.end(), block, block + sizeof block);
    }
    return stream;
}

// Half of the digits lie on the edges where carries, borrows and estimates go wrong. The sequence is the same
// in every run.
class NumberSource {
  public:
    Digit digit() {
        constexpr Digit edges[] = {0,          1,          2,          0x7FFF,     0x8000,
                                   0xFFFF,     0x10000,    0x10001,    0x7FFFFFFF, 0x80000000,
                                   0x80000001, 0x8000FFFF, 0xFFFF0000, 0xFFFFFFFE, 0xFFFFFFFF};
        const Digit choice = word();
        return choice & 1 ? word() : edges[(choice >> 1) % std::size(edges)];
    }
    Number number(size_t digits) {
        Number result(digits);
        for (Digit& each : result)
            each = digit();
        return result;
    }
    size_t below(size_t bound) { return generator_() % bound; }

  private:
    Digit word() { return static_cast<Digit>(generator_()); }
    std::mt19937 generator_{20030201};
};

} // namespace tarn
