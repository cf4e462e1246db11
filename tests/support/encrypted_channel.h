/*
 * The server's end of the encrypted channel: a key pair that belongs to the tests, the blocks of a login in
 * plain and decrypted, and the keystream, applied here byte by byte at a position that is counted in the
 * open. The arithmetic and the generator are the library's own; other tests hold them against other
 * implementations.
 */
#ifndef TEST_SUPPORT_ENCRYPTED_CHANNEL_H
#define TEST_SUPPORT_ENCRYPTED_CHANNEL_H

#include <functional>
#include <string>
#include <string_view>

namespace test_support {

constexpr std::size_t cipher_block_size = 32;

/* The public exponent and modulus as they travel, 32 bytes each. */
std::string public_numbers();

/* Raises every block of 32 bytes to the private exponent. */
std::string decrypt_blocks(std::string_view blocks);

/* The blocks behind the session key before they are encrypted: 0x07 0x07 behind every 30 characters of the
 * text, its NUL, zeros up to a whole block. */
std::string login_blocks(std::string_view text);

/* Changes bytes of one direction on their way, in stream order. Copies go on from the same position. */
using Coder = std::function<std::string(std::string)>;
Coder keystream(const std::string& key);

} // namespace test_support

#endif
