#include "crypto/key_agreement.h"

#include <cstring>
#include <random>

#include "base/wipe.h"
#include "crypto/multi_precision.h"

namespace tarn {

constexpr size_t rsa_digits = rsa_block_size / sizeof(Digit);
constexpr size_t padded_run = 30;
constexpr char pad_byte = 0x07;

bool system_random_word(uint32_t& word) noexcept {
    try {
        std::random_device device;
        word = device();
        return true;
    } catch (...) {
        return false;
    }
}

bool rand_scaled(uint32_t low, uint32_t high, uint32_t& value, WordSource source) noexcept {
    constexpr uint64_t highest_word = 0xFFFFFFFF;
    uint32_t word;
    const WipeOnExit wiped(word);
    if (!source(word)) return false;
    value = low + static_cast<uint32_t>(uint64_t{word} * (high - low) / highest_word);
    return true;
}

static void to_digits(Digit digits[rsa_digits], const uint8_t bytes[rsa_block_size]) noexcept {
    for (size_t i = 0; i < rsa_digits; ++i, bytes += 4)
        digits[i] = bytes[0] | Digit{bytes[1]} << 8 | Digit{bytes[2]} << 16 | Digit{bytes[3]} << 24;
}

static void to_bytes(uint8_t bytes[rsa_block_size], const Digit digits[rsa_digits]) noexcept {
    for (size_t i = 0; i < rsa_block_size; ++i)
        bytes[i] = static_cast<uint8_t>(digits[i / 4] >> i % 4 * 8);
}

static bool draw_key(const char* password, uint8_t key[session_key_size], WordSource source) noexcept {
    Digit words[rsa_digits];
    const WipeOnExit wiped(words);
    for (Digit& word : words)
        if (!rand_scaled(0, 0xFFFFFFFF, word, source)) return false;
    to_bytes(key, words);
    const size_t length = std::strlen(password);
    for (size_t i = 0; i < session_key_size && length > 0; ++i)
        key[i] = static_cast<uint8_t>(key[i] ^ static_cast<uint8_t>(password[i % length]));
    key[session_key_size - 1] &= 0x7F;
    return true;
}

bool make_session_key(const char* password, uint8_t key[session_key_size], WordSource source) noexcept {
    constexpr int32_t attempts = 100; // about one key in nine holds a zero byte
    for (int32_t i = 0; i < attempts && draw_key(password, key, source); ++i)
        if (!std::memchr(key, 0, session_key_size)) return true;
    wipe(key, session_key_size);
    return false;
}

size_t pad_login_text(char* text) noexcept {
    const size_t length = std::strlen(text);
    const size_t padded_length = padded_text_length(length);
    // From the back, so that no character is overwritten before it has moved.
    char* end = text + padded_length + 1;
    const size_t runs = length / padded_run;
    size_t tail = length - runs * padded_run + 1;
    for (size_t run = runs;; --run, tail = padded_run) {
        end -= tail;
        std::memmove(end, text + run * padded_run, tail);
        if (run == 0) return padded_length;
        *--end = pad_byte;
        *--end = pad_byte;
    }
}

void rsa_encrypt_blocks(const uint8_t exponent[rsa_block_size], const uint8_t modulus[rsa_block_size],
                        uint8_t* buffer, size_t length) noexcept {
    Digit e[rsa_digits];
    Digit m[rsa_digits];
    Digit plain[rsa_digits];
    Digit encrypted[rsa_digits];
    const WipeOnExit wiped_plain(plain);
    const WipeOnExit wiped_encrypted(encrypted); // holds powers of the plain block on the way
    to_digits(e, exponent);
    to_digits(m, modulus);
    const size_t rest = length % rsa_block_size;
    std::memset(buffer + length, 0, rsa_block_size - rest);
    for (size_t blocks = length / rsa_block_size + 1; blocks > 0; --blocks, buffer += rsa_block_size) {
        to_digits(plain, buffer);
        mp_mod_exp(encrypted, plain, e, m, rsa_digits);
        to_bytes(buffer, encrypted);
    }
}

} // namespace tarn
