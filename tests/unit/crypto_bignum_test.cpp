// The arithmetic against OpenSSL's big numbers, tens of thousands of cases.
#include <memory>

#include <gtest/gtest.h>
#include <openssl/bn.h>

#include "crypto_support.h"

using namespace tarn;

namespace {

struct BignumReleaser {
    void operator()(BIGNUM* number) const { BN_clear_free(number); }
    void operator()(BN_CTX* context) const { BN_CTX_free(context); }
};
using Big = std::unique_ptr<BIGNUM, BignumReleaser>;

BN_CTX* context() {
    static const std::unique_ptr<BN_CTX, BignumReleaser> only(BN_CTX_new());
    return only.get();
}

Big big_zero() {
    return Big(BN_new());
}

Big big(const Number& number) {
    return Big(BN_lebin2bn(reinterpret_cast<const uint8_t*>(number.data()),
                           static_cast<int>(number.size() * sizeof(Digit)), nullptr));
}

// An empty number when the value needs more digits.
Number number_of(const Big& value, size_t digits) {
    Number number(digits);
    const auto size = static_cast<int>(digits * sizeof(Digit));
    if (BN_bn2lebinpad(value.get(), reinterpret_cast<uint8_t*>(number.data()), size) != size) return {};
    return number;
}

} // namespace

// Divides and compares; leading zero digits in either number are part of the game.
static void check_division(const Number& u, const Number& divisor) {
    Number v = divisor;
    Number q(u.size(), 0xABABABAB), r(u.size(), 0xCDCDCDCD);
    ASSERT_EQ(mp_div(q.data(), r.data(), u.data(), u.size(), v.data(), v.size()), 0);
    Big quotient = big_zero();
    Big remainder = big_zero();
    BN_div(quotient.get(), remainder.get(), big(u).get(), big(divisor).get(), context());
    ASSERT_EQ(q, number_of(quotient, u.size()));
    ASSERT_EQ(r, number_of(remainder, u.size()));
    ASSERT_EQ(v, divisor) << "the divisor is not restored";

    Number modulo(v.size(), 0xABABABAB);
    mp_mod(modulo.data(), u.data(), u.size(), v.data(), v.size());
    ASSERT_EQ(modulo, number_of(remainder, v.size()));
    ASSERT_EQ(v, divisor) << "the divisor is not restored";
}

TEST(crypto_bignum, division_with_every_pair_of_lengths_and_next_to_multiples_of_the_divisor) {
    NumberSource source;
    for (size_t udigits = 1; udigits <= 16; ++udigits) {
        for (size_t vdigits = 1; vdigits <= 8; ++vdigits) {
            for (int32_t i = 0; i < 200 && !testing::Test::HasFatalFailure(); ++i) {
                Number v = source.number(vdigits);
                v[vdigits - 1] >>= source.below(32);
                if (mp_digits(v.data(), vdigits) == 0) v[0] = 1;
                check_division(source.number(udigits), v);

                Big multiple = big_zero();
                BN_mul(multiple.get(), big(v).get(), big(source.number(vdigits)).get(), context());
                if (i % 3 == 0 && !BN_is_zero(multiple.get())) BN_sub_word(multiple.get(), 1);
                if (i % 3 == 1) BN_add_word(multiple.get(), 1);
                check_division(number_of(multiple, 2 * vdigits), v);
            }
        }
    }
}

TEST(crypto_bignum, products_and_powers_under_a_modulus) {
    NumberSource source;
    for (int32_t i = 0; i < 3000; ++i) {
        const size_t n = 1 + source.below(8);
        const size_t exponent_digits = 1 + source.below(i % 10 == 0 ? n : 1);
        Number m = source.number(n);
        m[n - 1] >>= source.below(32);
        if (mp_digits(m.data(), n) == 0) m[0] = 1;
        const Number modulus = m;
        const Number x = source.number(n);
        Number e = source.number(exponent_digits);
        if (i % 2 == 0) e[exponent_digits - 1] = 1; // the scan for the next bit begins in the digit below
        e.resize(n);

        Big expected = big_zero();
        Number product = x;
        mp_mod_mul(product.data(), product.data(), product.data(), m.data(), n);
        BN_mod_sqr(expected.get(), big(x).get(), big(m).get(), context());
        ASSERT_EQ(product, number_of(expected, n));

        if (BN_is_zero(big(e).get()) || BN_is_one(big(e).get())) continue; // these do not reduce
        Number y(n);
        ASSERT_EQ(mp_mod_exp(y.data(), x.data(), e.data(), m.data(), n), 0);
        BN_mod_exp(expected.get(), big(x).get(), big(e).get(), big(modulus).get(), context());
        ASSERT_EQ(y, number_of(expected, n));
        ASSERT_EQ(m, modulus) << "the modulus is not restored";
    }
}
