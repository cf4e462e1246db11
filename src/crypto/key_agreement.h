// What an encrypted login sends instead of its plain text: a fresh session key and the login text, in blocks
// of 32 bytes encrypted under the server's RSA key. Byte layout of the login area before it is encrypted:
//
//   0                    session key, 32 bytes, none of them zero
//   32                   login text, padded, and its NUL
//   after the NUL        zeros up to the end of the last block
//
// The area is secret; its owner wipes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "crypto/turing.h"

namespace tarn {

constexpr size_t rsa_block_size = 32;
constexpr size_t session_key_size = turing_key_size;
constexpr size_t max_encrypted_login_text = 479; // characters, before the padding

constexpr size_t padded_text_length(size_t length) noexcept {
    return length + length / 30 * 2;
}

// The number of blocks that the key, the padded text and its NUL take.
constexpr size_t login_bytes_to_send(size_t padded_length) noexcept {
    return ((session_key_size + padded_length) / rsa_block_size + 1) * rsa_block_size;
}

// Room for the longest login, padded and encrypted.
constexpr size_t login_area_size = login_bytes_to_send(padded_text_length(max_encrypted_login_text));

// Draws one random word; false on failure.
using WordSource = bool (*)(uint32_t& word) noexcept;

// The system's random device.
bool system_random_word(uint32_t& word) noexcept;

// Draws a word and scales it into low..high. False, with value untouched, when the source fails.
bool rand_scaled(uint32_t low, uint32_t high, uint32_t& value,
                 WordSource source = system_random_word) noexcept;

// Makes a key from random words and the password: no byte of it is zero, and as a little-endian number it is
// below 2^255. False, with the key all zero, when the source fails or yields no such key in many attempts.
bool make_session_key(const char* password, uint8_t key[session_key_size],
                      WordSource source = system_random_word) noexcept;

// Inserts 0x07 0x07 after every complete run of 30 characters, in place, and returns the new length, which is
// padded_text_length of the old one; the caller's buffer has room for it and the NUL. In the login area every
// full block of text then ends in these two bytes, which keeps it, as a number, below the modulus.
size_t pad_login_text(char* text) noexcept;

// Encrypts a buffer in place, in blocks of 32 bytes, with the server's public key; all numbers are
// little-endian, 256 bits. The length / 32 complete blocks are followed by one more that holds the rest,
// filled up with zeros; it is written even when the rest is empty, so the buffer has room for (length / 32 +
// 1) * 32 bytes. Any exponent and modulus will do; whether the server can decrypt the result is not checked.
void rsa_encrypt_blocks(const uint8_t exponent[rsa_block_size], const uint8_t modulus[rsa_block_size],
                        uint8_t* buffer, size_t length) noexcept;

} // namespace tarn
