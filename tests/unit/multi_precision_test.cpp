// The arithmetic against 64-bit machine arithmetic, against constants computed elsewhere and at its edges.
#include <gtest/gtest.h>

#include "crypto_support.h"

using namespace tarn;

TEST(multi_precision, digit_products_and_quotients_agree_with_64_bit_arithmetic) {
    NumberSource source;
    for (int32_t i = 0; i < 50000; ++i) {
        const Digit x = source.digit();
        const Digit y = source.digit();
        const uint64_t product = uint64_t{x} * y;
        Digit p[2];
        digit_mul(p, x, y);
        ASSERT_EQ(uint64_t{p[1]} << 32 | p[0], product) << x << " * " << y;

        const Digit d = source.digit() | 0x80000000;
        const uint64_t dividend = uint64_t{y} << 32 | x;
        const Digit u[2] = {x, y};
        Digit q, r;
        const int32_t overflow = digit_div(q, r, u, d);
        ASSERT_EQ(uint64_t(overflow) << 32 | q, dividend / d) << dividend << " / " << d;
        ASSERT_EQ(r, dividend % d) << dividend << " / " << d;
    }
}

TEST(multi_precision, digit_division_refuses_a_divisor_without_its_top_bit) {
    for (const Digit d : {0u, 1u, 0x7FFFFFFFu}) {
        const Digit u[2] = {5, 7};
        Digit q = 1, r = 1;
        EXPECT_EQ(digit_div(q, r, u, d), -1);
        EXPECT_EQ(q, 0u);
        EXPECT_EQ(r, 0u);
    }
}

TEST(multi_precision, shifts_return_the_bits_pushed_out) {
    const Number number = {0x89ABCDEF, 0x01234567, 0xF0000001};
    struct {
        size_t bits;
        Number left, right;
        Digit left_out, right_out;
    } const cases[] = {
        {0, number, number, 0, 0},
        {4, {0x9ABCDEF0, 0x12345678, 0x00000010}, {0x789ABCDE, 0x10123456, 0x0F000000}, 0xF, 0xF0000000},
        {31, {0x80000000, 0xC4D5E6F7, 0x8091A2B3}, {0x02468ACF, 0xE0000002, 1}, 0x78000000, 0x13579BDE},
    };
    for (const auto& each : cases) {
        Number left = number;
        Number right(3);
        EXPECT_EQ(mp_shift_left(left.data(), left.data(), each.bits, 3), each.left_out) << each.bits;
        EXPECT_EQ(mp_shift_right(right.data(), number.data(), each.bits, 3), each.right_out) << each.bits;
        EXPECT_EQ(left, each.left) << each.bits;
        EXPECT_EQ(right, each.right) << each.bits;
    }
    for (const size_t bits : {size_t{32}, size_t{33}, SIZE_MAX}) {
        Number untouched = {1, 2, 3};
        EXPECT_EQ(mp_shift_left(untouched.data(), number.data(), bits, 3), 0u);
        EXPECT_EQ(mp_shift_right(untouched.data(), number.data(), bits, 3), 0u);
        EXPECT_EQ(untouched, Number({1, 2, 3}));
    }
}

TEST(multi_precision, division_by_zero_is_refused_and_leaves_zeros) {
    const Number u = {1, 2, 3};
    Number v(2), q = {4, 4, 4}, r = {5, 5, 5}, remainder = {6, 6};
    EXPECT_EQ(mp_div(q.data(), r.data(), u.data(), 3, v.data(), 2), -1);
    EXPECT_EQ(q, Number(3));
    EXPECT_EQ(r, Number(3));
    mp_mod(remainder.data(), u.data(), 3, v.data(), 2);
    EXPECT_EQ(remainder, Number(2));

    Number untouched = {1, 2, 3};
    EXPECT_EQ(mp_short_div(untouched.data(), untouched.data(), 0, 3), 0u);
    EXPECT_EQ(untouched, u);
}

TEST(multi_precision, powers_of_256_bits) {
    const char* const modulus = "be5e106e7951ff1ee2db175c11a67596d54bad85b0f0003624c9d61b40e423b1";
    struct {
        const char *base, *exponent, *modulus, *power;
    } const cases[] = {
        // the modulus has a top digit of 1
        {"13932904757f1cba4a227f39047b2c107912ef4aefae5d4e15fa8b65fa6672cd",
         "63087e5244c6b895fe749e67730f37f1fe9eb4adf7d5f12481b1c025d1e4d0a3",
         "0000000194db5f8f1319d42435f10300ee379c65f21201e4eaa3556c35b7e448",
         "000000013f444defbaac49b7c6660f89bc7346c6ed0097020c369890ea6adf65"},
        // an even modulus below the base, an exponent with a leading digit of 1
        {"9a762d5421f267e25c0bb40ff3e6ca734305e98686292bb5bf5b411b24491df6",
         "00000001b40de56d1cd86fc1e30966194791c2e9823d11eda1b501d6d1f9bdfe",
         "865b8c34c9c4ec04f8e76d93c0961b9dcba0149afeeb2b6a7677e97ebaf9fda2",
         "820d67f91fb26da0efcf851a0e979b03e7545baabf4ff7476c13343bfa7d8606"},
        {"013532a767c98fb9736506ecae7c8f097ddfcbc9f3308ce500eb4e1128b88073",
         "000000000000000000000000000000000000000101aa2b6724056360ba28a679", modulus,
         "978f77512697c3de594fdeb024b96020416bfbb102b5435a23cbac62e3ce0598"},
    };
    for (const auto& each : cases) {
        const Number x = number_of_hex(each.base);
        const Number e = number_of_hex(each.exponent);
        Number m = number_of_hex(each.modulus);
        Number y(8);
        EXPECT_EQ(mp_mod_exp(y.data(), x.data(), e.data(), m.data(), 8), 0);
        EXPECT_EQ(y, number_of_hex(each.power));
        EXPECT_EQ(m, number_of_hex(each.modulus)) << "the modulus is not restored";
    }
}

TEST(multi_precision, powers_with_degenerate_exponents_and_moduli) {
    const Number all_ones(8, 0xFFFFFFFF);
    const Number zero(8);
    const auto small = [](Digit digit) {
        Number number(8);
        number[0] = digit;
        return number;
    };
    struct {
        const char* what;
        Number base, exponent, modulus, power;
    } const cases[] = {
        {"the zeroth power is 1", all_ones, zero, small(7), small(1)},
        {"the zeroth power is 1 under a modulus of zero", all_ones, zero, zero, small(1)},
        {"the first power is not reduced", all_ones, small(1), small(7), all_ones},
        {"a square", small(5), small(2), small(7), small(4)},
        {"a modulus of zero gives zero", all_ones, all_ones, zero, zero},
        {"a modulus of one gives zero", all_ones, all_ones, small(1), zero},
        {"an even modulus of one bit", small(3), all_ones, small(0x80000000), small(0x2AAAAAAB)},
        {"a base equal to the modulus", all_ones, small(2), all_ones, zero},
        {"a base of zero", zero, all_ones, all_ones, zero},
    };
    for (const auto& each : cases) {
        Number y(8, 0xABABABAB), m = each.modulus;
        EXPECT_EQ(mp_mod_exp(y.data(), each.base.data(), each.exponent.data(), m.data(), 8), 0);
        EXPECT_EQ(y, each.power) << each.what;
        EXPECT_EQ(m, each.modulus) << each.what;
    }
}

TEST(multi_precision, powers_outside_the_bounds_of_the_scratch_are_refused) {
    Number x(mp_max_modulus + 1, 3), e(mp_max_modulus + 1, 1), m(mp_max_modulus + 1, 7), y(1, 42);
    EXPECT_EQ(mp_mod_exp(y.data(), x.data(), e.data(), m.data(), 0), -1);
    EXPECT_EQ(mp_mod_exp(y.data(), x.data(), e.data(), m.data(), mp_max_modulus + 1), -1);
    EXPECT_EQ(y[0], 42u);
}
