// The keystream as the channel consumes it, in pieces of any length, against one text that is taken byte by
// byte.
#include <cstring>

#include <gtest/gtest.h>

#include "crypto_support.h"

using namespace tarn;

// Pieces of every length begin anywhere, each in memory of its own with bytes around it that must not change.
// Every block of 340 bytes serves ten times in a row.
TEST(keystream, encrypts_pieces_of_every_length_up_to_7000) {
    constexpr size_t margin = 16;
    const char* const key_hex = "030a11181f262d343b424950575e656c737a81888f969da4abb2b9c0c7ced5dc";
    const Bytes stream = keystream(key_hex, "", 11000 * 340);
    TuringState state;
    std::memset(&state, 0xEE, sizeof state); // the set-up relies on nothing that was there before
    set_up_keystream(state, bytes_of_hex(key_hex).data());
    NumberSource source;
    size_t position = 0;
    const auto apply = [&](size_t length) {
        const size_t start = margin + source.below(margin); // so that pieces begin at any alignment
        Bytes memory(start + length + margin);
        for (uint8_t& byte : memory)
            byte = static_cast<uint8_t>(source.below(256));
        Bytes expected = memory;
        for (size_t i = 0; i < length; ++i, ++position)
            expected[start + i] ^= stream[position / 3400 * 340 + position % 340];
        apply_keystream(state, memory.data() + start, length);
        ASSERT_EQ(memory, expected) << length << " bytes up to position " << position;
        ASSERT_EQ(static_cast<size_t>(state.ks_used), position % 3400);
    };
    for (size_t length = 0; length <= 7000 && !testing::Test::HasFatalFailure(); ++length) {
        apply(length);
        apply(source.below(length % 2 == 0 ? 3400 : 12));
    }
}
