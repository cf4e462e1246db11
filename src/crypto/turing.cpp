#include "crypto/turing.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/bytes.h"
#include "base/wipe.h"
#include "crypto/turing_tables.h"

namespace tarn {

constexpr size_t register_words = 17;
constexpr size_t rounds = 17;
constexpr size_t steps_per_round = 5;
constexpr size_t bytes_per_round = 20;
constexpr size_t block_uses = 10;
constexpr size_t bytes_per_generation = block_uses * turing_block_size;

// Byte 0 of a word is its most significant one.
static uint32_t byte_of(uint32_t word, int32_t index) noexcept {
    return word >> (24 - 8 * index) & 0xFF;
}

static uint32_t with_byte(uint32_t word, int32_t index, uint32_t byte) noexcept {
    const int32_t shift = 24 - 8 * index;
    return (word & ~(uint32_t{0xFF} << shift)) | byte << shift;
}

uint32_t turing_fixed_s(uint32_t word) noexcept {
    for (int32_t i = 0; i < 4; ++i) {
        const uint32_t b = turing_sbox[byte_of(word, i)];
        word = with_byte(word ^ std::rotl(turing_qbox[b], 8 * i), i, b);
    }
    return word;
}

void turing_mix(uint32_t* words, size_t n) noexcept {
    if (n == 0) return;
    uint32_t sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum += words[i];
    words[n - 1] = sum;
    for (size_t i = 0; i + 1 < n; ++i)
        words[i] += sum;
}

static uint32_t key_table_entry(const TuringState& state, int32_t table, uint32_t index) noexcept {
    uint32_t k = index;
    uint32_t word = 0;
    for (int32_t i = 0; i < state.key_len; ++i) {
        k = turing_sbox[byte_of(state.key_words[i], table) ^ k];
        word ^= std::rotl(turing_qbox[k], i + 8 * table);
    }
    return with_byte(word, table, k);
}

void turing_set_key(TuringState& state, const uint8_t* key, size_t length) noexcept {
    state.key_len = static_cast<int32_t>(std::min(length, turing_key_size) / 4);
    for (int32_t i = 0; i < state.key_len; ++i)
        state.key_words[i] = turing_fixed_s(load_wire<uint32_t>(key + 4 * i));
    turing_mix(state.key_words, static_cast<size_t>(state.key_len));
    for (int32_t table = 0; table < 4; ++table)
        for (uint32_t j = 0; j < 256; ++j)
            state.key_tables[table][j] = key_table_entry(state, table, j);
}

// The keyed S-box.
static uint32_t keyed_s(const uint32_t (&tables)[4][256], uint32_t word) noexcept {
    return tables[0][byte_of(word, 0)] ^ tables[1][byte_of(word, 1)] ^ tables[2][byte_of(word, 2)] ^
           tables[3][byte_of(word, 3)];
}

bool turing_set_iv(TuringState& state, const uint8_t* iv, size_t length) noexcept {
    const auto key_words = static_cast<size_t>(state.key_len);
    if (length % 4 != 0 || length > 48 || length + 4 * key_words > 48) return false;
    size_t filled = 0;
    for (; filled < length / 4; ++filled)
        state.lfsr[filled] = turing_fixed_s(load_wire<uint32_t>(iv + 4 * filled));
    for (size_t j = 0; j < key_words; ++j)
        state.lfsr[filled++] = state.key_words[j];
    state.lfsr[filled++] = static_cast<uint32_t>(key_words << 4 | length >> 2 | 0x01020300);
    for (size_t j = 0; filled < register_words; ++filled, ++j)
        state.lfsr[filled] = keyed_s(state.key_tables, state.lfsr[j] + state.lfsr[filled - 1]);
    turing_mix(state.lfsr, register_words);
    return true;
}

namespace {

struct FiveWords {
    uint32_t a, b, c, d, e;

    void mix() noexcept {
        e += a + b + c + d;
        a += e;
        b += e;
        c += e;
        d += e;
    }
};

} // namespace

// One step of the register: computes the word that follows the 17 words at reg.
static void step(uint32_t* reg) noexcept {
    reg[register_words] = reg[15] ^ reg[4] ^ reg[0] << 8 ^ turing_multab[byte_of(reg[0], 0)];
}

// Instead of shifting words down, the register slides along a strip long enough for a whole block.
int32_t turing_generate(TuringState& state, uint8_t* out) noexcept {
    uint32_t strip[register_words + rounds * steps_per_round];
    const WipeOnExit wiped(strip);
    std::memcpy(strip, state.lfsr, sizeof state.lfsr);
    uint32_t* reg = strip;
    for (size_t round = 0; round < rounds; ++round, out += bytes_per_round) {
        step(reg++);
        FiveWords w{reg[16], reg[13], reg[6], reg[1], reg[0]};
        w.mix();
        w.a = keyed_s(state.key_tables, w.a);
        w.b = keyed_s(state.key_tables, std::rotl(w.b, 8));
        w.c = keyed_s(state.key_tables, std::rotl(w.c, 16));
        w.d = keyed_s(state.key_tables, std::rotl(w.d, 24));
        w.e = keyed_s(state.key_tables, w.e);
        w.mix();
        for (int32_t i = 0; i < 3; ++i)
            step(reg++);
        store_wire(out, w.a + reg[14]);
        store_wire(out + 4, w.b + reg[12]);
        store_wire(out + 8, w.c + reg[8]);
        store_wire(out + 12, w.d + reg[1]);
        store_wire(out + 16, w.e + reg[0]);
        step(reg++);
    }
    std::memcpy(state.lfsr, reg, sizeof state.lfsr);
    return turing_block_size;
}

void set_up_keystream(TuringState& state, const uint8_t key[turing_key_size]) noexcept {
    turing_set_key(state, key, turing_key_size);
    turing_set_iv(state, nullptr, 0);
    turing_generate(state, state.ks_block);
    state.ks_used = 0;
}

// XORs the first T of mask into bytes.
template <class T> static void xor_word(uint8_t* bytes, const uint8_t* mask) noexcept {
    store(bytes, static_cast<T>(load<T>(bytes) ^ load<T>(mask)));
}

using WideWord = uint64_t __attribute__((vector_size(16)));

static void xor_bytes(uint8_t* bytes, const uint8_t* mask, size_t count) noexcept {
    size_t done = 0;
    for (; count - done >= 32; done += 32) {
        xor_word<WideWord>(bytes + done, mask + done);
        xor_word<WideWord>(bytes + done + 16, mask + done + 16);
    }
    if (count - done >= 16) {
        xor_word<WideWord>(bytes + done, mask + done);
        done += 16;
    }
    for (; count - done >= 4; done += 4)
        xor_word<uint32_t>(bytes + done, mask + done);
    for (; done < count; ++done)
        xor_word<uint8_t>(bytes + done, mask + done);
}

void apply_keystream(TuringState& state, uint8_t* bytes, size_t count) noexcept {
    auto used = static_cast<size_t>(state.ks_used);
    size_t position = used % turing_block_size;
    while (count > 0) {
        const size_t stretch = std::min(count, turing_block_size - position);
        xor_bytes(bytes, state.ks_block + position, stretch);
        bytes += stretch;
        count -= stretch;
        used += stretch;
        position += stretch;
        if (position == turing_block_size) position = 0;
        if (used == bytes_per_generation) {
            turing_generate(state, state.ks_block);
            used = 0;
        }
    }
    state.ks_used = static_cast<int32_t>(used);
}

} // namespace tarn
