// Unsigned multi-precision arithmetic, enough for the RSA step of an encrypted login.
//
// A number is an array of digits, least significant first, of a length n given with every call; digits above
// its significant length are zero. Every length may be 0. Arrays belong to the caller; nothing allocates, and
// scratch that held values of a computation is wiped. Arrays of one call must not overlap, except where a
// function says that a result may be an operand (the very same array).
//
// Only mp_div, mp_mod, mp_mod_mul and mp_mod_exp write an operand: they shift their divisor or modulus while
// they work and restore it before they return, so it must be writable and belong to one thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

using Digit = uint32_t;
constexpr size_t digit_bits = 32;

// Bounds of the scratch on the stack: the dividend of mp_mod, and the modulus of mp_mod_mul and mp_mod_exp.
constexpr size_t mp_max_dividend = 32;
constexpr size_t mp_max_modulus = mp_max_dividend / 2;

// w = u + v; returns the carry out, 0 or 1. w may be u or v.
Digit mp_add(Digit* w, const Digit* u, const Digit* v, size_t n) noexcept;

// 1, 0 or -1 as u is above, equal to or below v.
int32_t mp_compare(const Digit* u, const Digit* v, size_t n) noexcept;

// The significant length: the index of the highest digit that is not zero, plus one; 0 for zero.
size_t mp_digits(const Digit* a, size_t n) noexcept;

void mp_set_digit(Digit* a, Digit d, size_t n) noexcept;
void mp_copy(Digit* a, const Digit* b, size_t n) noexcept; // a may be b
void mp_zero(Digit* a, size_t n) noexcept;

// a = b shifted by s bits; a may be b. Returns the bits pushed out: by the left shift right-aligned, by the
// right shift left-aligned. For an s of 32 or more a is unchanged and the result is 0.
Digit mp_shift_left(Digit* a, const Digit* b, size_t s, size_t n) noexcept;
Digit mp_shift_right(Digit* a, const Digit* b, size_t s, size_t n) noexcept;

// w = u * v, w of 2n digits.
void mp_mul(Digit* w, const Digit* u, const Digit* v, size_t n) noexcept;

// The product of two digits as low and high digit.
void digit_mul(Digit product[2], Digit x, Digit y) noexcept;

// Divides the number of two digits u (low, high) by d, whose top bit must be set. Returns the part of the
// quotient above the digit q (0 or 1), or -1 with q = r = 0 when the top bit of d is clear.
int32_t digit_div(Digit& q, Digit& r, const Digit u[2], Digit d) noexcept;

// q = u / d; returns the remainder. q may be u. With d = 0 nothing is written and the result is 0.
Digit mp_short_div(Digit* q, const Digit* u, Digit d, size_t n) noexcept;

// q = u / v, r = u mod v, both of udigits digits. Returns 0, or -1 with q = r = 0 when v is zero.
int32_t mp_div(Digit* q, Digit* r, const Digit* u, size_t udigits, Digit* v, size_t vdigits) noexcept;

// r = u mod v, r of vdigits digits; zero when v is zero. r may be u. Neither length may be above
// mp_max_dividend.
void mp_mod(Digit* r, const Digit* u, size_t udigits, Digit* v, size_t vdigits) noexcept;

// a = x * y mod m; a may be x or y. n must not be above mp_max_modulus.
void mp_mod_mul(Digit* a, const Digit* x, const Digit* y, Digit* m, size_t n) noexcept;

// y = x ^ e mod m, in time bounded by n for every x, e and m. Returns 0, or -1 with y untouched when n is 0
// or above mp_max_modulus. x is not reduced first: e = 1 gives x itself, and e = 0 gives 1, whatever the
// modulus. With a larger exponent a modulus of zero gives zero.
int32_t mp_mod_exp(Digit* y, const Digit* x, const Digit* e, Digit* m, size_t n) noexcept;

} // namespace tarn
