#include "rsa_key.h"

#include <stdexcept>

namespace tarnlite {

namespace {

constexpr int prime_bits = 128;
constexpr BN_ULONG usual_exponent = 65537;

struct ContextCloser {
    void operator()(BN_CTX* context) const { BN_CTX_free(context); }
};
using Context = std::unique_ptr<BN_CTX, ContextCloser>;

void check(bool done) {
    if (!done) throw std::runtime_error("the RSA arithmetic failed");
}

Context make_context() {
    Context context(BN_CTX_new());
    check(context != nullptr);
    return context;
}

} // namespace

RsaKey::Number RsaKey::make_number() {
    Number number(BN_new());
    check(number != nullptr);
    return number;
}

// Its top two bits are set, so that the product of two has its top bit set.
RsaKey::Number RsaKey::prime() {
    Number number = make_number();
    check(BN_generate_prime_ex(number.get(), prime_bits, 0, nullptr, nullptr, nullptr) == 1);
    return number;
}

RsaBlock RsaKey::block_of(const BIGNUM& number) {
    RsaBlock block{};
    check(BN_bn2lebinpad(&number, block.data(), static_cast<int>(block.size())) ==
          static_cast<int>(block.size()));
    return block;
}

RsaKey::RsaKey()
    : modulus_(make_number()), public_exponent_(make_number()), private_exponent_(make_number()) {
    const Context context = make_context();
    const Number group_order = make_number();
    check(BN_set_word(public_exponent_.get(), usual_exponent) == 1);
    // The exponent has no inverse when it divides the order, which is rare.
    do {
        const Number p = prime();
        const Number q = prime();
        check(BN_mul(modulus_.get(), p.get(), q.get(), context.get()) == 1);
        check(BN_sub_word(p.get(), 1) == 1 && BN_sub_word(q.get(), 1) == 1);
        check(BN_mul(group_order.get(), p.get(), q.get(), context.get()) == 1);
    } while (BN_mod_inverse(private_exponent_.get(), public_exponent_.get(), group_order.get(),
                            context.get()) == nullptr);
    BN_set_flags(private_exponent_.get(), BN_FLG_CONSTTIME);
}

bool RsaKey::decipher(RsaBlock& block) const {
    const Number number = make_number();
    check(BN_lebin2bn(block.data(), static_cast<int>(block.size()), number.get()) != nullptr);
    if (BN_cmp(number.get(), modulus_.get()) >= 0) return false;
    const Context context = make_context();
    check(BN_mod_exp(number.get(), number.get(), private_exponent_.get(), modulus_.get(), context.get()) ==
          1);
    block = block_of(*number);
    return true;
}

} // namespace tarnlite
