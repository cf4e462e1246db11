#include "crypto/multi_precision.h"

#include <bit>
#include <cstring>

#include "base/wipe.h"

namespace tarn {

constexpr Digit low_half(Digit digit) noexcept {
    return digit & 0xFFFF;
}
constexpr Digit high_half(Digit digit) noexcept {
    return digit >> 16;
}

Digit mp_add(Digit* w, const Digit* u, const Digit* v, size_t n) noexcept {
    Digit carry = 0;
    for (size_t i = 0; i < n; ++i) {
        const Digit augend = u[i] + carry;
        carry = augend < carry;
        const Digit sum = augend + v[i];
        carry += sum < augend;
        w[i] = sum;
    }
    return carry;
}

int32_t mp_compare(const Digit* u, const Digit* v, size_t n) noexcept {
    for (size_t i = n; i-- > 0;)
        if (u[i] != v[i]) return u[i] > v[i] ? 1 : -1;
    return 0;
}

size_t mp_digits(const Digit* a, size_t n) noexcept {
    while (n > 0 && a[n - 1] == 0)
        --n;
    return n;
}

void mp_set_digit(Digit* a, Digit d, size_t n) noexcept {
    mp_zero(a, n);
    if (n > 0) a[0] = d;
}

void mp_copy(Digit* a, const Digit* b, size_t n) noexcept {
    if (n > 0) std::memmove(a, b, n * sizeof(Digit));
}

void mp_zero(Digit* a, size_t n) noexcept {
    if (n > 0) std::memset(a, 0, n * sizeof(Digit));
}

Digit mp_shift_left(Digit* a, const Digit* b, size_t s, size_t n) noexcept {
    if (s >= digit_bits) return 0;
    Digit pushed_out = 0;
    for (size_t i = 0; i < n; ++i) {
        const Digit digit = b[i];
        a[i] = digit << s | pushed_out;
        pushed_out = s ? digit >> (digit_bits - s) : 0;
    }
    return pushed_out;
}

Digit mp_shift_right(Digit* a, const Digit* b, size_t s, size_t n) noexcept {
    if (s >= digit_bits) return 0;
    Digit pushed_out = 0;
    for (size_t i = n; i-- > 0;) {
        const Digit digit = b[i];
        a[i] = digit >> s | pushed_out;
        pushed_out = s ? digit << (digit_bits - s) : 0;
    }
    return pushed_out;
}

void digit_mul(Digit product[2], Digit x, Digit y) noexcept {
    const Digit low = low_half(x) * low_half(y);
    const Digit high = high_half(x) * high_half(y);
    // The middle column includes the upper half of the low product; its sum stays below 2^32.
    const Digit middle = low_half(x) * high_half(y) + high_half(low);
    const Digit other_middle = high_half(x) * low_half(y) + low_half(middle);
    product[0] = other_middle << 16 | low_half(low);
    product[1] = high + high_half(middle) + high_half(other_middle);
}

// w += u * d over n digits; returns the digit that is carried out.
static Digit add_multiple(Digit* w, const Digit* u, Digit d, size_t n) noexcept {
    Digit carry = 0;
    for (size_t i = 0; i < n; ++i) {
        Digit product[2];
        digit_mul(product, u[i], d);
        product[0] += carry;
        product[1] += product[0] < carry;
        w[i] += product[0];
        carry = product[1] + (w[i] < product[0]);
    }
    return carry;
}

// w -= u * d over n digits; returns the digit that is borrowed from above.
static Digit subtract_multiple(Digit* w, const Digit* u, Digit d, size_t n) noexcept {
    Digit borrow = 0;
    for (size_t i = 0; i < n; ++i) {
        Digit product[2];
        digit_mul(product, u[i], d);
        product[0] += borrow;
        product[1] += product[0] < borrow;
        borrow = product[1] + (w[i] < product[0]);
        w[i] -= product[0];
    }
    return borrow;
}

void mp_mul(Digit* w, const Digit* u, const Digit* v, size_t n) noexcept {
    mp_zero(w, 2 * n);
    for (size_t i = 0; i < n; ++i)
        if (v[i] != 0) w[i + n] = add_multiple(w + i, u, v[i], n);
}

// One half of a quotient digit: divides remainder, which is below d, joined with the next half of the
// dividend by d and leaves the new remainder. The estimate from the upper half of d is at most two too large,
// never above 0x10001, and since the correction compares with all of d, it ends exactly.
static Digit quotient_half(Digit& remainder, Digit next_half, Digit d) noexcept {
    Digit estimate = remainder / high_half(d);
    Digit rest = remainder % high_half(d);
    while (estimate * low_half(d) > (rest << 16 | next_half)) {
        --estimate;
        rest += high_half(d);
        if (rest > 0xFFFF) break;
    }
    remainder = (remainder << 16 | next_half) - estimate * d;
    return estimate;
}

int32_t digit_div(Digit& q, Digit& r, const Digit u[2], Digit d) noexcept {
    const Digit low = u[0];
    Digit remainder = u[1];
    q = r = 0;
    if (d < 0x80000000) return -1;
    const bool overflow = remainder >= d;
    if (overflow) remainder -= d;
    const Digit upper = quotient_half(remainder, high_half(low), d);
    const Digit lower = quotient_half(remainder, low_half(low), d);
    q = upper << 16 | lower;
    r = remainder;
    return overflow;
}

Digit mp_short_div(Digit* q, const Digit* u, Digit d, size_t n) noexcept {
    if (n == 0 || d == 0) return 0;
    const auto s = static_cast<size_t>(std::countl_zero(d));
    Digit remainder = mp_shift_left(q, u, s, n);
    for (size_t i = n; i-- > 0;) {
        const Digit dividend[2] = {q[i], remainder};
        digit_div(q[i], remainder, dividend, d << s);
    }
    return remainder >> s;
}

// A quotient digit of a long division, exact or one too large. part is the part of the remainder aligned with
// the divisor's t digits, t >= 2, and top the digit above it; the divisor's top bit is set.
static Digit estimate_digit(const Digit* part, Digit top, const Digit* v, size_t t) noexcept {
    const Digit leading = v[t - 1];
    const Digit dividend[2] = {part[t - 1], top};
    Digit estimate;
    Digit rest;
    bool settled = false; // once rest exceeds a digit, the next digit cannot refute the estimate
    if (digit_div(estimate, rest, dividend, leading) == 1) {
        estimate = 0xFFFFFFFF;
        rest = part[t - 1] + leading;
        settled = rest < leading;
    }
    while (!settled) {
        Digit product[2];
        digit_mul(product, estimate, v[t - 2]);
        if (product[1] < rest || (product[1] == rest && product[0] <= part[t - 2])) break;
        --estimate;
        rest += leading;
        settled = rest < leading;
    }
    return estimate;
}

// The long division proper: r holds the dividend of m digits with top above them, v the divisor of t digits
// with its top bit set, 2 <= t <= m. Leaves the remainder in the lowest t digits of r; the digits above it
// are garbage.
static void divide_normalised(Digit* q, Digit* r, Digit top, size_t m, const Digit* v, size_t t) noexcept {
    for (size_t j = m - t + 1; j-- > 0;) {
        Digit* part = r + j;
        Digit estimate = estimate_digit(part, top, v, t);
        if (subtract_multiple(part, v, estimate, t) > top) {
            --estimate;
            mp_add(part, part, v, t); // its carry cancels the borrow
        }
        q[j] = estimate;
        top = part[t - 1];
    }
}

int32_t mp_div(Digit* q, Digit* r, const Digit* u, size_t udigits, Digit* v, size_t vdigits) noexcept {
    mp_zero(q, udigits);
    mp_zero(r, udigits);
    const size_t t = mp_digits(v, vdigits);
    const size_t m = mp_digits(u, udigits);
    if (t == 0) return -1;
    if (m < t || (m == t && mp_compare(u, v, t) < 0)) {
        mp_copy(r, u, m);
        return 0;
    }
    if (t == 1) {
        r[0] = mp_short_div(q, u, v[0], m);
        return 0;
    }
    const auto s = static_cast<size_t>(std::countl_zero(v[t - 1]));
    mp_shift_left(v, v, s, t);
    const Digit top = mp_shift_left(r, u, s, m);
    divide_normalised(q, r, top, m, v, t);
    mp_zero(r + t, m - t);
    mp_shift_right(r, r, s, t);
    mp_shift_right(v, v, s, t);
    return 0;
}

void mp_mod(Digit* r, const Digit* u, size_t udigits, Digit* v, size_t vdigits) noexcept {
    Digit quotient[mp_max_dividend];
    Digit remainder[mp_max_dividend] = {};
    const WipeOnExit wiped_quotient(quotient);
    const WipeOnExit wiped_remainder(remainder);
    mp_div(quotient, remainder, u, udigits, v, vdigits);
    mp_copy(r, remainder, vdigits);
}

void mp_mod_mul(Digit* a, const Digit* x, const Digit* y, Digit* m, size_t n) noexcept {
    Digit product[2 * mp_max_modulus];
    const WipeOnExit wiped(product);
    mp_mul(product, x, y, n);
    mp_mod(a, product, 2 * n, m, n);
}

int32_t mp_mod_exp(Digit* y, const Digit* x, const Digit* e, Digit* m, size_t n) noexcept {
    if (n == 0 || n > mp_max_modulus) return -1;
    const size_t k = mp_digits(e, n);
    if (k == 0) {
        mp_set_digit(y, 1, n);
        return 0;
    }
    // The copy consumes the highest set bit of the exponent.
    mp_copy(y, x, n);
    const size_t bits = k * digit_bits - static_cast<size_t>(std::countl_zero(e[k - 1]));
    for (size_t bit = bits - 1; bit-- > 0;) {
        mp_mod_mul(y, y, y, m, n);
        if (e[bit / digit_bits] >> bit % digit_bits & 1) mp_mod_mul(y, y, x, m, n);
    }
    return 0;
}

} // namespace tarn
