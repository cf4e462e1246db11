// The cipher against published and independently computed keystreams.
#include <gtest/gtest.h>

#include "crypto_support.h"

using namespace tarn;

TEST(turing, known_keystreams) {
    const char* const text_key = "74657374206b65792031323862697473"; // "test key 128bits"
    const char* const long_key = "030a11181f262d343b424950575e656c737a81888f969da4abb2b9c0c7ced5dc";
    const char* const longer_key = "030a11181f262d343b424950575e656c737a81888f969da4abb2b9c0c7ced5dcaa";
    const char* const uneven_key = "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e"; // 30 bytes
    const struct {
        const char *key, *iv;
        size_t offset;
        const char* expected;
    } cases[] = {
        {text_key, "00000000", 0, "696626bbdc6e09f6da9abab5b56c14878246df18"},
        {text_key, "00000000", 9999, "5da88ced8aa655ba7808eff8cf3263c075e4403c"},
        {long_key, "", 0, "a00d433ea303ceca94a8c898666b0c22e4e0ed66"},
        {long_key, "", 320, "a5b5e8ead25600261b7a77e7dda917bf9eca8660"},
        {long_key, "", 340, "157281c6f351b5924bce8b49f7a26b0811509021"},
        {long_key, "", 680, "dca6af2f839540b0ee4e162e2b951eb49ccb5087"},
        {longer_key, "", 0, "a00d433ea303ceca94a8c898666b0c22e4e0ed66"},
        {uneven_key, "", 0, "1b3c2d061bc91b9003709339e7921b6645bb8da2"},
    };
    for (const auto& each : cases) {
        const Bytes expected = bytes_of_hex(each.expected);
        const Bytes stream = keystream(each.key, each.iv, each.offset + expected.size());
        const auto from = stream.begin() + static_cast<std::ptrdiff_t>(each.offset);
        EXPECT_EQ(Bytes(from, from + static_cast<std::ptrdiff_t>(expected.size())), expected)
            << each.key << " at " << each.offset;
    }
}

TEST(turing, an_iv_of_a_length_that_does_not_fit_leaves_the_register_alone) {
    const Bytes bytes(64, 0x11);
    const struct {
        size_t key_length, iv_length;
        bool accepted;
    } cases[] = {{32, 16, true},  {32, 0, true},   {32, 20, false}, {32, 3, false},
                 {16, 32, true},  {16, 36, false}, {0, 48, true},   {0, 52, false},
                 {32, 17, false}, {0, 0, true},    {3, 48, true},   {32, SIZE_MAX - 3, false}};
    for (const auto& each : cases) {
        TuringState state{};
        turing_set_key(state, bytes.data(), each.key_length);
        EXPECT_EQ(turing_set_iv(state, bytes.data(), each.iv_length), each.accepted)
            << each.key_length << " " << each.iv_length;
        const Number untouched(17);
        EXPECT_EQ(Number(state.lfsr, state.lfsr + 17) == untouched, !each.accepted)
            << each.key_length << " " << each.iv_length;
    }
}
