// The Turing stream cipher as the channel uses it: every keystream block is used ten times in a row before
// the next one is generated. A state is for one direction of one connection; it is plain memory, holds
// secrets and is wiped by its owner.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

constexpr size_t turing_key_size = 32;
constexpr size_t turing_block_size = 340;

struct TuringState {
    int32_t key_len;             // key words loaded, 0..8
    uint32_t key_words[8];       // after the keyless S-box and mixing
    uint32_t lfsr[17];           // the shift register
    uint32_t key_tables[4][256]; // table 0 belongs to the most significant byte of a word
    int32_t ks_used;             // bytes used since ks_block was generated, 0..3399
    uint8_t ks_block[turing_block_size];
};

// The keyless S-box over the four bytes of a word.
uint32_t turing_fixed_s(uint32_t word) noexcept;

// Makes every one of n words depend on all of them.
void turing_mix(uint32_t* words, size_t n) noexcept;

// Loads a key and builds its tables. A length that is not a multiple of 4 is rounded down to one, and bytes
// after the 32nd are ignored.
void turing_set_key(TuringState& state, const uint8_t* key, size_t length) noexcept;

// Loads an IV (null with length 0) after the key. False, with the register untouched, unless length is a
// multiple of 4 and key and IV together have at most 48 bytes.
bool turing_set_iv(TuringState& state, const uint8_t* iv, size_t length) noexcept;

// Writes the next 340 bytes of the published keystream to out and returns their number.
int32_t turing_generate(TuringState& state, uint8_t* out) noexcept;

// Makes a state ready for the first byte of a session: the key, an empty IV, the first block.
void set_up_keystream(TuringState& state, const uint8_t key[turing_key_size]) noexcept;

// Encrypts or decrypts the next count bytes of the stream in place. The division of the stream into calls
// does not matter.
void apply_keystream(TuringState& state, uint8_t* bytes, size_t count) noexcept;

} // namespace tarn
