#include "rsa_key.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace tarnlite {

namespace {

constexpr unsigned prime_bits = 128;
constexpr unsigned modulus_bits = rsa_block_size * 8;
constexpr unsigned long usual_exponent = 65537;

void check(bool done) {
    if (!done) throw std::runtime_error("the RSA arithmetic failed");
}

// Logs the library's messages except informational ones: on Windows there is one about disk statistics.
void report(void*, int level, const char* format, std::va_list values) {
    if (level != GCRY_LOG_INFO) std::vfprintf(stderr, format, values);
}

// One thread does this before any uses the library.
bool set_up_library() {
    if (!gcry_check_version(GCRYPT_VERSION)) return false;
    gcry_set_log_handler(report, nullptr);
    return gcry_control(GCRYCTL_DISABLE_SECMEM) == 0 && gcry_control(GCRYCTL_INITIALIZATION_FINISHED) == 0;
}

} // namespace

// Secret numbers: their arithmetic takes constant time, and they are wiped when released.
RsaKey::Number RsaKey::make_number() {
    return Number(gcry_mpi_snew(modulus_bits));
}

RsaKey::Number RsaKey::prime() {
    gcry_mpi_t number = nullptr;
    check(gcry_prime_generate(&number, prime_bits, 0, nullptr, nullptr, nullptr, GCRY_STRONG_RANDOM,
                              GCRY_PRIME_FLAG_SECRET) == 0);
    return Number(number);
}

RsaBlock RsaKey::block_of(const Number& number) {
    RsaBlock block{};
    std::size_t size = 0;
    check(gcry_mpi_print(GCRYMPI_FMT_USG, block.data(), block.size(), &size, number.get()) == 0);
    std::reverse(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size));
    return block;
}

RsaKey::RsaKey() {
    static const bool library_works = set_up_library();
    check(library_works);
    modulus_ = make_number();
    public_exponent_ = make_number();
    private_exponent_ = make_number();
    gcry_mpi_set_ui(public_exponent_.get(), usual_exponent);
    const Number group_order = make_number();
    // The product of the primes may be one bit short, and the exponent has no inverse if it divides the
    // order.
    do {
        const Number p = prime();
        const Number q = prime();
        gcry_mpi_mul(modulus_.get(), p.get(), q.get());
        gcry_mpi_sub_ui(p.get(), p.get(), 1);
        gcry_mpi_sub_ui(q.get(), q.get(), 1);
        gcry_mpi_mul(group_order.get(), p.get(), q.get());
    } while (gcry_mpi_get_nbits(modulus_.get()) != modulus_bits ||
             !gcry_mpi_invm(private_exponent_.get(), public_exponent_.get(), group_order.get()));
}

bool RsaKey::decrypt(RsaBlock& block) const {
    RsaBlock big_endian = block;
    std::reverse(big_endian.begin(), big_endian.end());
    gcry_mpi_t scanned = nullptr;
    check(gcry_mpi_scan(&scanned, GCRYMPI_FMT_USG, big_endian.data(), big_endian.size(), nullptr) == 0);
    const Number number(scanned);
    if (gcry_mpi_cmp(number.get(), modulus_.get()) >= 0) return false;
    gcry_mpi_powm(number.get(), number.get(), private_exponent_.get(), modulus_.get());
    block = block_of(number);
    return true;
}

} // namespace tarnlite
