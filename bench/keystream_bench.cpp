// The cost of encryption: the keystream over blocks of the channel's usual sizes, against a plain loop over
// single bytes, and the RSA step of one login.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "crypto/key_agreement.h"
#include "crypto/turing.h"

using namespace tarn;

static TuringState keyed_state() {
    uint8_t key[turing_key_size];
    for (size_t i = 0; i < sizeof key; ++i)
        key[i] = static_cast<uint8_t>(3 + 7 * i);
    TuringState state{};
    set_up_keystream(state, key);
    return state;
}

static void apply_byte_by_byte(TuringState& state, uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        bytes[i] ^= state.ks_block[state.ks_used % 340];
        if (++state.ks_used == 3400) {
            turing_generate(state, state.ks_block);
            state.ks_used = 0;
        }
    }
}

template <void (*apply)(TuringState&, uint8_t*, size_t)> static void keystream(benchmark::State& run) {
    TuringState state = keyed_state();
    std::vector<uint8_t> bytes(static_cast<size_t>(run.range(0)), uint8_t{0x5A});
    for (auto _ : run) {
        apply(state, bytes.data(), bytes.size());
        benchmark::ClobberMemory();
    }
    run.SetBytesProcessed(static_cast<int64_t>(run.iterations()) * run.range(0));
}
BENCHMARK(keystream<apply_byte_by_byte>)
    ->Name("byte_loop")
    ->Arg(4)
    ->Arg(64)
    ->Arg(2048)
    ->Arg(8192)
    ->Arg(1 << 20);
BENCHMARK(keystream<apply_keystream>)
    ->Name("apply_keystream")
    ->Arg(4)
    ->Arg(64)
    ->Arg(2048)
    ->Arg(8192)
    ->Arg(1 << 20);

static void generate_block(benchmark::State& run) {
    TuringState state = keyed_state();
    for (auto _ : run) {
        turing_generate(state, state.ks_block);
        benchmark::ClobberMemory();
    }
    run.SetBytesProcessed(static_cast<int64_t>(run.iterations() * turing_block_size));
}
BENCHMARK(generate_block);

static void key_set_up(benchmark::State& run) {
    for (auto _ : run) {
        TuringState state = keyed_state();
        benchmark::DoNotOptimize(state);
    }
}
BENCHMARK(key_set_up);

// A login text of 200 characters, eight blocks with the key; the argument is the number of bits of the
// exponent, all set.
static void login_rsa(benchmark::State& run) {
    uint8_t exponent[rsa_block_size] = {};
    uint8_t modulus[rsa_block_size];
    for (int64_t bit = 0; bit < run.range(0); ++bit)
        exponent[bit / 8] = static_cast<uint8_t>(exponent[bit / 8] | 1 << bit % 8);
    std::memset(modulus, 0xC3, sizeof modulus);
    uint8_t area[login_area_size];
    const size_t length = session_key_size + padded_text_length(200) + 1;
    for (auto _ : run) {
        std::memset(area, 0x41, sizeof area);
        rsa_encrypt_blocks(exponent, modulus, area, length);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(login_rsa)->ArgName("exponent_bits")->Arg(17)->Arg(256)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
