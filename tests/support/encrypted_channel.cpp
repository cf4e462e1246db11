/*
 * The server's end of the encrypted channel; see the header.
 */
#include "encrypted_channel.h"

#include "crypto/multi_precision.h"
#include "crypto/turing.h"

#include <cstdint>
#include <cstring>

namespace test_support {

namespace {

/* A little-endian number of 256 bits, in digits and in bytes alike: the tests run on little-endian hosts. */
struct Number {
    tarn::Digit digits[cipher_block_size / sizeof(tarn::Digit)];
};

constexpr Number exponent = {{65537}};
constexpr Number modulus = {
    {0x8DF8837F, 0x7659238B, 0x3ECA16F4, 0x20858A7B, 0x7EB76536, 0xD19A6987, 0x26B68E17, 0xAAD49A6D}};
constexpr Number private_exponent = {
    {0xEE18C001, 0xF5F54A50, 0x53E06A3B, 0xEB485C59, 0x0AA1FAD1, 0x3BBB80B1, 0xC0C5D018, 0x75FF2C3B}};

std::string bytes_of(const Number& number) {
    return {reinterpret_cast<const char*>(number.digits), cipher_block_size};
}

} // namespace

std::string public_numbers() {
    return bytes_of(exponent) + bytes_of(modulus);
}

std::string decrypt_blocks(std::string_view blocks) {
    std::string plain;
    for (; blocks.size() >= cipher_block_size; blocks.remove_prefix(cipher_block_size)) {
        Number block, result{}, divisor = modulus;
        std::memcpy(block.digits, blocks.data(), cipher_block_size);
        tarn::mp_mod_exp(result.digits, block.digits, private_exponent.digits, divisor.digits,
                         std::size(block.digits));
        plain += bytes_of(result);
    }
    return plain;
}

std::string login_blocks(std::string_view text) {
    std::string plain;
    for (; text.size() >= 30; text.remove_prefix(30))
        plain.append(text.substr(0, 30)).append("\x07\x07");
    plain.append(text).append(1, '\0');
    plain.resize((plain.size() + cipher_block_size - 1) / cipher_block_size * cipher_block_size);
    return plain;
}

/* Every block of 340 bytes serves ten times in a row. */
Coder keystream(const std::string& key) {
    tarn::TuringState state{};
    tarn::turing_set_key(state, reinterpret_cast<const std::uint8_t*>(key.data()), key.size());
    tarn::turing_set_iv(state, nullptr, 0);
    return [state, position = std::size_t{0}](std::string bytes) mutable {
        for (char& byte : bytes) {
            if (position % 3400 == 0) tarn::turing_generate(state, state.ks_block);
            byte = static_cast<char>(byte ^ state.ks_block[position++ % 3400 % 340]);
        }
        return bytes;
    };
}

} // namespace test_support
