// Session keys, the padding of the login text and the blocks that travel.
#include <algorithm>
#include <cstring>

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
    // With "a" 61 makes a zero; of the last byte the top bit is cleared.
    for (const auto& [index, word] : {std::pair{0u, 0x55555561u}, {3u, 0x55615555u}, {7u, 0xE1555555u}}) {
        Number words(16, 0x55555555);
        words[index] = word;
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

TEST(key_agreement, keys_from_the_system_differ) {
    Bytes one(session_key_size), other(session_key_size);
    EXPECT_TRUE(make_session_key("password", one.data()) && make_session_key("password", other.data()));
    EXPECT_EQ(std::count(one.begin(), one.end(), 0), 0);
    EXPECT_NE(one, other);
}

TEST(key_agreement, padding_follows_every_complete_run_of_30_characters) {
    const struct {
        size_t length, bytes_sent;
    } cases[] = {{0, 64},   {29, 64},   {30, 96},   {31, 96},   {59, 96},  {60, 128},
                 {61, 128}, {100, 160}, {449, 512}, {450, 544}, {479, 544}};
    for (const auto& each : cases) {
        std::string text, expected;
        for (size_t i = 0; i < each.length; ++i) {
            text += static_cast<char>('!' + i % 94);
            expected += text.back();
            if (i % 30 == 29) expected += "\x07\x07";
        }
        char area[login_area_size];
        std::memset(area, 0x7E, sizeof area);
        std::memcpy(area, text.c_str(), text.size() + 1);
        EXPECT_EQ(pad_login_text(area), expected.size());
        EXPECT_STREQ(area, expected.c_str());
        EXPECT_EQ(area[expected.size() + 1], 0x7E) << each.length;
        EXPECT_EQ(padded_text_length(each.length), expected.size());
        EXPECT_EQ(login_bytes_to_send(expected.size()), each.bytes_sent) << each.length;
    }
    EXPECT_EQ(login_area_size, 544u);
}

TEST(key_agreement, blocks_are_encrypted_one_by_one_and_the_last_is_filled_with_zeros) {
    const Bytes modulus = bytes_of_hex("b123e4401bd6c9243600f0b085ad4bd59675a6115c17dbe21eff51796e105ebe");
    Bytes exponent(rsa_block_size);
    exponent[0] = exponent[2] = 1;
    const std::string block = "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20";
    const std::string encrypted = "c2863f2552209c34e3de8902822004afa9cdb534bbd35480d5e682555ca50726";
    const std::string behind(64, '7'), zeros(64, '0');   // the former must be taken as the latter
    const std::string one = "01" + std::string(62, '0'); // no exponent changes it
    const struct {
        size_t length;
        std::string plain, expected;
    } cases[] = {
        {0, behind, zeros},
        {32, block + behind, encrypted + zeros},
        {33, block + "01" + behind.substr(2), encrypted + one},
        {95, block + block + one.substr(0, 62) + "77", encrypted + encrypted + one},
    };
    for (const auto& each : cases) {
        Bytes buffer = bytes_of_hex(each.plain);
        rsa_encrypt_blocks(exponent.data(), modulus.data(), buffer.data(), each.length);
        EXPECT_EQ(buffer, bytes_of_hex(each.expected)) << each.length;
    }
}

TEST(wipe, clears_all_of_its_object_and_nothing_else) {
    uint8_t secret[40];
    std::fill(std::begin(secret), std::end(secret), uint8_t{0x5A});
    { const WipeOnExit wiped(secret + 4, 32); }
    EXPECT_EQ(std::count(secret + 4, secret + 36, 0), 32);
    EXPECT_EQ(std::count(secret, secret + 40, 0), 32);
    { const WipeOnExit wiped(secret); }
    EXPECT_EQ(std::count(secret, secret + 40, 0), 40);
}
