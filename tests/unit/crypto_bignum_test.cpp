// The arithmetic and whole login areas against OpenSSL's big numbers, tens of thousands of cases.
#include <cstring>
#include <memory>

#include <gtest/gtest.h>
#include <openssl/bn.h>

#include "crypto/key_agreement.h"
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

Big big_of_bytes(const void* little_endian, size_t size) {
    return Big(BN_lebin2bn(static_cast<const uint8_t*>(little_endian), static_cast<int>(size), nullptr));
}

Big big(const Number& number) {
    return big_of_bytes(number.data(), number.size() * sizeof(Digit));
}

// An empty number when the value needs more digits.
Number number_of(const Big& value, size_t digits) {
    Number number(digits);
    const auto size = static_cast<int>(digits * sizeof(Digit));
    if (BN_bn2lebinpad(value.get(), reinterpret_cast<uint8_t*>(number.data()), size) != size) return {};
    return number;
}

} // namespace

TEST(crypto_bignum, sums_and_products) {
    NumberSource source;
    for (int32_t i = 0; i < 10000; ++i) {
        const size_t n = 1 + source.below(16);
        const Number u = source.number(n);
        const Number v = source.number(n);
        Big expected = big_zero();

        Number sum = u;
        const Digit carry = mp_add(sum.data(), sum.data(), v.data(), n);
        sum.push_back(carry);
        BN_add(expected.get(), big(u).get(), big(v).get());
        ASSERT_EQ(sum, number_of(expected, n + 1));

        Number product(2 * n, 0xABABABAB);
        mp_mul(product.data(), u.data(), v.data(), n);
        BN_mul(expected.get(), big(u).get(), big(v).get(), context());
        ASSERT_EQ(product, number_of(expected, 2 * n));
    }
}

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

TEST(crypto_bignum, division_with_every_pair_of_lengths) {
    NumberSource source;
    for (size_t udigits = 1; udigits <= 16; ++udigits) {
        for (size_t vdigits = 1; vdigits <= 8; ++vdigits) {
            for (int32_t i = 0; i < 200; ++i) {
                Number v = source.number(vdigits);
                v[vdigits - 1] >>= source.below(32);
                if (mp_digits(v.data(), vdigits) == 0) v[0] = 1;
                check_division(source.number(udigits), v);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(crypto_bignum, division_with_dividends_next_to_multiples_of_the_divisor) {
    NumberSource source;
    for (int32_t i = 0; i < 10000; ++i) {
        const size_t n = 1 + source.below(8);
        Number v = source.number(n);
        v[n - 1] |= 1;
        Big multiple = big_zero();
        BN_mul(multiple.get(), big(v).get(), big(source.number(n)).get(), context());
        if (i % 3 == 0 && !BN_is_zero(multiple.get())) BN_sub_word(multiple.get(), 1);
        if (i % 3 == 1) BN_add_word(multiple.get(), 1);
        check_division(number_of(multiple, 2 * n), v);
        if (HasFatalFailure()) return;
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

TEST(crypto_bignum, a_login_area_deciphers_with_the_private_key) {
    const Number modulus = number_of_hex("be5e106e7951ff1ee2db175c11a67596d54bad85b0f0003624c9d61b40e423b1");
    const Number secret = number_of_hex("9fa65f7d66bd7f89b5932c4a087b638d03189f0fc972b7660c1ddc7391e897a9");
    Number exponent(8);
    exponent[0] = 65537;
    for (const size_t length : {0u, 1u, 29u, 30u, 31u, 59u, 60u, 100u, 449u, 450u, 479u}) {
        uint8_t area[login_area_size] = {};
        ASSERT_TRUE(make_session_key("password", area));
        const Bytes key(area, area + session_key_size);
        std::string text;
        while (text.size() < length)
            text.push_back(static_cast<char>('!' + text.size() % 90));
        char* area_text = reinterpret_cast<char*>(area) + session_key_size;
        std::memcpy(area_text, text.c_str(), length + 1);
        const size_t padded = pad_login_text(area_text);
        rsa_encrypt_blocks(reinterpret_cast<const uint8_t*>(exponent.data()),
                           reinterpret_cast<const uint8_t*>(modulus.data()), area,
                           session_key_size + padded + 1);

        Bytes plain;
        for (size_t at = 0; at < login_bytes_to_send(padded); at += rsa_block_size) {
            Big block = big_of_bytes(area + at, rsa_block_size);
            BN_mod_exp(block.get(), block.get(), big(secret).get(), big(modulus).get(), context());
            uint8_t bytes[rsa_block_size];
            ASSERT_GT(BN_bn2lebinpad(block.get(), bytes, sizeof bytes), 0);
            plain.insert(plain.end(), bytes, bytes + sizeof bytes);
        }
        EXPECT_EQ(Bytes(plain.begin(), plain.begin() + session_key_size), key);
        std::string received(reinterpret_cast<const char*>(plain.data()) + session_key_size);
        for (size_t at = 30; at + 1 < received.size(); at += 30) {
            EXPECT_EQ(received.substr(at, 2), "\x07\x07");
            received.erase(at, 2);
        }
        EXPECT_EQ(received, text);
        EXPECT_EQ(plain.back(), 0) << "no room was left for the NUL";
    }
}
