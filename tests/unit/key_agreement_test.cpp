// Session keys, the padding of the login text and the blocks that travel.
#include <algorithm>
#include <cstring>
#include <set>

#include <gtest/gtest.h>

#include "base/wipe.h"
#include "crypto/key_agreement.h"
#include "crypto_support.h"

using namespace tarn;

namespace {

// Words that the tests hand out in place of random ones; when they are used up the source fails.
Number waiting_words;
size_t words_drawn;

bool next_word(uint32_t& word) noexcept {
    if (words_drawn == waiting_words.size()) return false;
    word = waiting_words[words_drawn++];
    return true;
}

void hand_out(Number words) {
    waiting_words = std::move(words);
    words_drawn = 0;
}

Bytes made_key(const char* password) {
    Bytes key(session_key_size, 0xEE);
    if (!make_session_key(password, key.data(), next_word)) {
        EXPECT_EQ(key, Bytes(session_key_size)) << "a key that was not made is not wiped";
        return {};
    }
    return key;
}

} // namespace

TEST(key_agreement, random_words_are_scaled_into_their_range) {
    const struct {
        uint32_t word, low, high, expected;
    } cases[] = {
        {0x12345678, 0, 0xFFFFFFFF, 0x12345678},
        {0xFFFFFFFF, 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {0, 5, 10, 5},
        {0xFFFFFFFF, 5, 10, 10},
        {0x80000000, 0, 100, 50},
        {0xFFFFFFFE, 0xFFFFFFF0, 0xFFFFFFFF, 0xFFFFFFFE},
        {0xDEADBEEF, 7, 7, 7},
    };
    for (const auto& each : cases) {
        hand_out({each.word});
        uint32_t value = 0;
        EXPECT_TRUE(rand_scaled(each.low, each.high, value, next_word));
        EXPECT_EQ(value, each.expected) << each.word << " into " << each.low << ".." << each.high;
        EXPECT_FALSE(rand_scaled(each.low, each.high, value, next_word));
        EXPECT_EQ(value, each.expected);
    }
}

TEST(key_agreement, a_key_is_the_words_in_little_endian_order_mixed_with_the_password) {
    const Number words = {0x04030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D,
                          0x14131211, 0x18171615, 0x1C1B1A19, 0xF01F1E1D};
    const struct {
        const char* password;
        const char* key;
    } cases[] = {
        {"", "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f70"},
        {"a", "606362656467666968 6b6a6d6c6f6e71 7073727574777679787b7a7d7c7f7e11"},
        {"\x80\x40", "814283448546874889 4a8b4c8d4e8f50 9152935495569758995a9b5c9d5e9f30"},
        // a password longer than the key: its first 32 characters count
        {"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAzzz",
         "4043424544474649484b4a4d4c4f4e51 5053525554575659585b5a5d5c5f5e31"},
    };
    for (const auto& each : cases) {
        std::string hex = each.key;
        std::erase(hex, ' ');
        hand_out(words);
        EXPECT_EQ(made_key(each.password), bytes_of_hex(hex)) << each.password;
    }
}

TEST(key_agreement, a_key_with_a_zero_byte_is_drawn_again) {
    const Number good(8, 0x55555555);
    const auto with_last = [&](size_t index, Digit word) {
        Number words = good;
        words[index] = word;
        words.insert(words.end(), good.begin(), good.end());
        return words;
    };
    const Number retried[] = {
        with_last(0, 0x55555561), // "a" makes byte 0 zero
        with_last(3, 0x55615555), // and a byte in the middle
        with_last(7, 0xE1555555), // of byte 31 only the top bit is left, which is cleared
    };
    for (const Number& words : retried) {
        hand_out(words);
        EXPECT_EQ(made_key("a"), Bytes(session_key_size, 0x34));
        EXPECT_EQ(words_drawn, 16u);
    }
}

TEST(key_agreement, no_key_is_made_from_a_source_that_fails_or_never_gives_a_good_one) {
    for (const size_t available : {0u, 1u, 7u}) {
        hand_out(Number(available, 0x55555555));
        EXPECT_TRUE(made_key("secret").empty());
    }
    hand_out(Number(100000));
    EXPECT_TRUE(made_key("").empty());
    EXPECT_LT(words_drawn, 100000u);
}

TEST(key_agreement, keys_from_the_system_differ_and_keep_to_their_form) {
    std::set<Bytes> keys;
    for (int32_t i = 0; i < 300; ++i) {
        Bytes key(session_key_size);
        ASSERT_TRUE(make_session_key("password", key.data()));
        EXPECT_EQ(std::count(key.begin(), key.end(), 0), 0);
        EXPECT_LT(key[31], 0x80);
        keys.insert(key);
    }
    EXPECT_EQ(keys.size(), 300u);
}

TEST(key_agreement, padding_follows_every_complete_run_of_30_characters) {
    const struct {
        size_t length, bytes_sent;
    } cases[] = {{0, 64},   {29, 64},   {30, 96},   {31, 96},   {59, 96},  {60, 128},
                 {61, 128}, {100, 160}, {449, 512}, {450, 544}, {479, 544}};
    for (const auto& each : cases) {
        std::string text, expected;
        for (size_t i = 0; i < each.length; ++i) {
            const char character = static_cast<char>('!' + i % 94);
            text.push_back(character);
            expected.push_back(character);
            if (i % 30 == 29) expected += "\x07\x07";
        }
        char area[login_area_size];
        std::memset(area, 0x7E, sizeof area);
        std::memcpy(area, text.c_str(), text.size() + 1);
        EXPECT_EQ(pad_login_text(area), expected.size());
        EXPECT_STREQ(area, expected.c_str());
        EXPECT_EQ(area[expected.size() + 1], 0x7E)
            << "bytes behind the NUL of " << each.length << " characters";
        EXPECT_EQ(padded_text_length(each.length), expected.size());
        EXPECT_EQ(login_bytes_to_send(expected.size()), each.bytes_sent) << each.length;
    }
    EXPECT_EQ(login_area_size, 544u);
}

TEST(key_agreement, blocks_are_enciphered_one_by_one_and_the_last_is_filled_with_zeros) {
    const Bytes modulus = bytes_of_hex("b123e4401bd6c9243600f0b085ad4bd59675a6115c17dbe21eff51796e105ebe");
    Bytes exponent(rsa_block_size);
    exponent[0] = 1;
    exponent[2] = 1;
    const Bytes enciphered = bytes_of_hex("c2863f2552209c34e3de8902822004afa9cdb534bbd35480d5e682555ca50726");
    const struct { size_t blocks, rest; } cases[] = {{0, 0}, {0, 31}, {1, 0}, {1, 1}, {2, 31}};
    for (const auto& each : cases) {
        // Whole blocks hold 1 to 32; the rest is a single 1 at its start, which no exponent changes.
        Bytes buffer, expected;
        for (size_t i = 0; i < each.blocks; ++i) {
            for (uint8_t byte = 1; byte <= 32; ++byte)
                buffer.push_back(byte);
            expected.insert(expected.end(), enciphered.begin(), enciphered.end());
        }
        const size_t length = buffer.size() + each.rest;
        buffer.resize(length);
        buffer.resize((each.blocks + 1) * rsa_block_size, 0x7E); // must be taken as zeros
        expected.resize(buffer.size());
        if (each.rest > 0) buffer[each.blocks * rsa_block_size] = expected[each.blocks * rsa_block_size] = 1;
        rsa_encrypt_blocks(exponent.data(), modulus.data(), buffer.data(), length);
        EXPECT_EQ(buffer, expected) << each.blocks << " blocks and " << each.rest << " bytes";
    }
}

TEST(wipe, clears_an_object_on_every_way_out) {
    uint8_t secret[40];
    std::memset(secret, 0x5A, sizeof secret);
    { const WipeOnExit wiped(secret + 4, 32); }
    EXPECT_EQ(std::count(secret, secret + 40, 0), 32);
    EXPECT_EQ(secret[3], 0x5A);
    EXPECT_EQ(secret[36], 0x5A);
    { const WipeOnExit wiped(secret); }
    EXPECT_EQ(std::count(secret, secret + 40, 0), 40);
}
