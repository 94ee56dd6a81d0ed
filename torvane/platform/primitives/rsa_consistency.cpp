#include "torvane/platform/primitives/rsa_consistency.hpp"

#include <openssl/bn.h>

namespace Torvane::Crypto {
namespace {

constexpr const char* purpose = "check an RSA key";

using NumberContext = Handle<BN_CTX, BN_CTX_free>;
using Montgomery = Handle<BN_MONT_CTX, BN_MONT_CTX_free>;

// A number that is wiped, and with which OpenSSL computes in constant time where it can.
Bignum makeSecret() {
    Bignum number(check(BN_secure_new(), purpose));
    BN_set_flags(number.get(), BN_FLG_CONSTTIME);
    return number;
}

// Reads a component into a number; false if the key lacks it.
bool read(const EVP_PKEY* key, const char* name, const Bignum& number) {
    auto* out = number.get();
    return EVP_PKEY_get_bn_param(key, name, &out) == 1;
}

bool areEqual(const Bignum& a, const Bignum& b) {
    return BN_ucmp(a.get(), b.get()) == 0;
}

class RSAChecker {
  public:
    explicit RSAChecker(const EVP_PKEY* key)
        : context_(check(BN_CTX_secure_new(), purpose)),
          isComplete_(read(key, OSSL_PKEY_PARAM_RSA_N, n_) && read(key, OSSL_PKEY_PARAM_RSA_E, e_) &&
                      read(key, OSSL_PKEY_PARAM_RSA_D, d_) && read(key, OSSL_PKEY_PARAM_RSA_FACTOR1, p_) &&
                      read(key, OSSL_PKEY_PARAM_RSA_FACTOR2, q_) && read(key, OSSL_PKEY_PARAM_RSA_EXPONENT1, dp_) &&
                      read(key, OSSL_PKEY_PARAM_RSA_EXPONENT2, dq_) &&
                      read(key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1, qi_)) {}

    [[nodiscard]] bool isConsistent() const {
        return isComplete_ && hasUsableSizes() && hasFactors() && hasExponent(p_, dp_) && hasExponent(q_, dq_) &&
               hasCoefficient() && isPrime(p_) && isPrime(q_);
    }

  private:
    // Also makes sure that what follows does not take long.
    [[nodiscard]] bool hasUsableSizes() const {
        const auto fits = [](const Bignum& number, int bits) { return BN_num_bits(number.get()) <= bits; };
        const int modulusBits = BN_num_bits(n_.get());
        constexpr int factorBits = maximumModulusBits / 2;
        const auto isOddFactor = [&](const Bignum& number) {
            return fits(number, factorBits) && !fits(number, 2) && BN_is_odd(number.get());
        };
        return fits(n_, maximumModulusBits) && fits(e_, modulusBits) && fits(d_, modulusBits) && isOddFactor(p_) &&
               isOddFactor(q_) && BN_is_odd(e_.get()) && !BN_is_one(e_.get());
    }

    // n = pq
    [[nodiscard]] bool hasFactors() const {
        const auto product = makeSecret();
        check(BN_mul(product.get(), p_.get(), q_.get(), context_.get()), purpose);
        return areEqual(product, n_);
    }

    // dp = d mod (p - 1), and e * dp = 1 mod (p - 1), so that also e * d = 1 mod (p - 1).
    [[nodiscard]] bool hasExponent(const Bignum& prime, const Bignum& exponent) const {
        const auto order = decrement(prime), remainder = makeSecret();
        check(BN_nnmod(remainder.get(), d_.get(), order.get(), context_.get()), purpose);
        if (!areEqual(remainder, exponent)) return false;
        check(BN_mod_mul(remainder.get(), e_.get(), exponent.get(), order.get(), context_.get()), purpose);
        return BN_is_one(remainder.get());
    }

    // q * qi = 1 mod p
    [[nodiscard]] bool hasCoefficient() const {
        if (BN_ucmp(qi_.get(), p_.get()) >= 0) return false;
        const auto remainder = makeSecret();
        check(BN_mod_mul(remainder.get(), q_.get(), qi_.get(), p_.get(), context_.get()), purpose);
        return BN_is_one(remainder.get());
    }

    static Bignum decrement(const Bignum& number) {
        auto less = makeSecret();
        check(BN_copy(less.get(), number.get()), purpose);
        check(BN_sub_word(less.get(), 1), purpose);
        return less;
    }

    // Miller-Rabin with random bases (FIPS 186-5, appendix B.3.1).
    [[nodiscard]] bool isPrime(const Bignum& number) const {
        constexpr int quickBits = 4096;
        const int rounds = BN_num_bits(number.get()) <= quickBits ? 8 : 3;
        const auto order = decrement(number);
        int twos = 1;  // order = 2^twos * oddPart
        while (BN_is_bit_set(order.get(), twos) == 0) ++twos;
        const auto oddPart = makeSecret(), one = makeSecret(), minusOne = makeSecret();
        check(BN_rshift(oddPart.get(), order.get(), twos), purpose);
        const Montgomery montgomery(check(BN_MONT_CTX_new(), purpose));
        check(BN_MONT_CTX_set(montgomery.get(), number.get(), context_.get()), purpose);
        check(BN_to_montgomery(one.get(), BN_value_one(), montgomery.get(), context_.get()), purpose);
        check(BN_sub(minusOne.get(), number.get(), one.get()), purpose);
        const auto passes = [&] {
            const auto base = makeSecret(), power = makeSecret();
            do {
                check(BN_priv_rand_range_ex(base.get(), order.get(), 0, context_.get()), purpose);
            } while (BN_is_zero(base.get()) || BN_is_one(base.get()));
            check(BN_mod_exp_mont_consttime(power.get(), base.get(), oddPart.get(), number.get(), context_.get(),
                                            montgomery.get()),
                  purpose);
            check(BN_to_montgomery(power.get(), power.get(), montgomery.get(), context_.get()), purpose);
            if (areEqual(power, one)) return true;
            for (int i = 0; i < twos; ++i) {
                if (areEqual(power, minusOne)) return true;
                check(BN_mod_mul_montgomery(power.get(), power.get(), power.get(), montgomery.get(), context_.get()),
                      purpose);
            }
            return false;
        };
        for (int i = 0; i < rounds; ++i) {
            if (!passes()) return false;
        }
        return true;
    }

    NumberContext context_;
    Bignum n_ = makeSecret(), e_ = makeSecret(), d_ = makeSecret(), p_ = makeSecret(), q_ = makeSecret(),
           dp_ = makeSecret(), dq_ = makeSecret(), qi_ = makeSecret();
    bool isComplete_;
};

}  // namespace

bool isConsistentRSA(const EVP_PKEY* key) {
    const ErrorScope scope;
    return RSAChecker(key).isConsistent();
}

}  // namespace Torvane::Crypto
