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

TEST(multi_precision, shifts_return_the_bits_pushed_out) {
    const Number number = {0x89ABCDEF, 0x01234567, 0xF0000001};
    Number left = number, right(3), untouched = number;
    EXPECT_EQ(mp_shift_left(left.data(), left.data(), 4, 3), 0xFu);
    EXPECT_EQ(left, Number({0x9ABCDEF0, 0x12345678, 0x00000010}));
    EXPECT_EQ(mp_shift_right(right.data(), number.data(), 4, 3), 0xF0000000u);
    EXPECT_EQ(right, Number({0x789ABCDE, 0x10123456, 0x0F000000}));
    for (const size_t bits : {size_t{0}, size_t{32}, SIZE_MAX}) {
        EXPECT_EQ(mp_shift_left(untouched.data(), untouched.data(), bits, 3), 0u);
        EXPECT_EQ(mp_shift_right(untouched.data(), untouched.data(), bits, 3), 0u);
        EXPECT_EQ(untouched, number);
    }
}

TEST(multi_precision, division_by_what_cannot_divide_is_refused_and_leaves_zeros) {
    const Number u = {1, 2, 3};
    Number v(2), q = {4, 4, 4}, r = {5, 5, 5}, remainder = {6, 6}, untouched = u;
    EXPECT_EQ(mp_div(q.data(), r.data(), u.data(), 3, v.data(), 2), -1);
    mp_mod(remainder.data(), u.data(), 3, v.data(), 2);
    EXPECT_TRUE(q == Number(3) && r == Number(3) && remainder == Number(2));
    EXPECT_EQ(mp_short_div(untouched.data(), untouched.data(), 0, 3), 0u);
    EXPECT_EQ(untouched, u);
    for (const Digit without_top_bit : {0u, 1u, 0x7FFFFFFFu}) {
        Digit quotient = 1, rest = 1;
        EXPECT_EQ(digit_div(quotient, rest, u.data(), without_top_bit), -1);
        EXPECT_EQ(quotient + rest, 0u);
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
