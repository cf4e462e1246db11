// The RSA key of one encrypted login: a 256-bit modulus whose top bit is set, plain exponentiation of 32-byte
// blocks. A block is a number in little-endian order. The private numbers are wiped with the key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <gcrypt.h>
#include <memory>

namespace tarnlite {

constexpr std::size_t rsa_block_size = 32;
using RsaBlock = std::array<std::uint8_t, rsa_block_size>;

class RsaKey {
  public:
    // A new random key. Throws std::runtime_error when the library cannot generate one.
    RsaKey();

    RsaBlock exponent() const { return block_of(public_exponent_); }
    RsaBlock modulus() const { return block_of(modulus_); }
    // Decrypts a block in place; false, with the block unchanged, if it is not below the modulus.
    bool decrypt(RsaBlock& block) const;

  private:
    struct NumberCloser {
        void operator()(gcry_mpi_t number) const { gcry_mpi_release(number); }
    };
    using Number = std::unique_ptr<gcry_mpi, NumberCloser>;

    static Number make_number();
    static Number prime();
    static RsaBlock block_of(const Number& number);

    Number modulus_;
    Number public_exponent_;
    Number private_exponent_;
};

} // namespace tarnlite
