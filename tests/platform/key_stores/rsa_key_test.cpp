#include <array>

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include "torvane/platform/primitives/openssl.hpp"

#include "tests/testing/testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using Crypto::Bignum;
using Crypto::Handle;

const SecurityError noPair("The private key does not match its public key."),
    tooLong("An RSA key has at most 16384 bits.");

Handle<BN_CTX, BN_CTX_free> context(BN_CTX_new());

Bignum operator*(const Bignum& a, const Bignum& b) {
    Bignum product(BN_new());
    BN_mul(product.get(), a.get(), b.get(), context.get());
    return product;
}

Bignum plus(const Bignum& number, long term) {
    Bignum sum(BN_dup(number.get()));
    term < 0 ? BN_sub_word(sum.get(), static_cast<BN_ULONG>(-term))
             : BN_add_word(sum.get(), static_cast<BN_ULONG>(term));
    return sum;
}

Bignum inverse(const Bignum& number, const Bignum& modulus) {
    return Bignum(BN_mod_inverse(nullptr, number.get(), modulus.get(), context.get()));
}

Bignum remainder(const Bignum& number, const Bignum& modulus) {
    Bignum result(BN_new());
    BN_mod(result.get(), number.get(), modulus.get(), context.get());
    return result;
}

Bignum power(int exponent) {
    Bignum number(BN_new());
    BN_set_bit(number.get(), exponent);
    return number;
}

Bignum fromHexNumber(const char* hex) {
    BIGNUM* number = nullptr;
    BN_hex2bn(&number, hex);
    return Bignum(number);
}

// A random prime that suits the public exponent.
Bignum prime(int bits) {
    Bignum number(BN_new());
    do {
        BN_generate_prime_ex(number.get(), bits, 0, nullptr, nullptr, nullptr);
    } while (BN_mod_word(number.get(), 65537) == 1);
    return number;
}

// The prime of a group: of RFC 7919 for "ffdhe8192", of RFC 3526 for "modp_8192".
Bignum groupPrime(const std::string& group) {
    const Crypto::PkeyContext maker(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr));
    auto name = group;
    const std::array parameters{OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, name.data(), 0),
                                OSSL_PARAM_construct_end()};
    EVP_PKEY* raw = nullptr;
    EVP_PKEY_paramgen_init(maker.get());
    EVP_PKEY_CTX_set_params(maker.get(), parameters.data());
    EVP_PKEY_paramgen(maker.get(), &raw);
    const Crypto::Pkey key(raw);
    BIGNUM* number = nullptr;
    EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_FFC_P, &number);
    return Bignum(number);
}

struct Numbers {
    Bignum n, e, d, p, q, dp, dq, qi;

    // All numbers belong together as if p and q were primes.
    Numbers(Bignum first, Bignum second) : e(BN_new()), p(std::move(first)), q(std::move(second)) {
        BN_set_word(e.get(), 65537);
        n = p * q;
        d = inverse(e, plus(p, -1) * plus(q, -1));
        dp = remainder(d, plus(p, -1));
        dq = remainder(d, plus(q, -1));
        qi = inverse(q, p);
    }
};

template <class Buffer>
Buffer bytes(const Bignum& number) {
    Buffer result(static_cast<std::size_t>(BN_num_bytes(number.get())));
    BN_bn2bin(number.get(), result.data());
    return result;
}

template <class Write>
ByteBuffer written(Write write) {
    const Handle<BIO, BIO_free> output(BIO_new(BIO_s_mem()));
    EXPECT_EQ(write(output.get()), 1);
    const char* data = nullptr;
    const auto size = BIO_get_mem_data(output.get(), &data);
    return {data, data + size};
}

// The DER form of a number, which OpenSSL does not check.
ByteBuffer derInteger(const Bignum& number) {
    const Handle<ASN1_INTEGER, ASN1_INTEGER_free> integer(BN_to_ASN1_INTEGER(number.get(), nullptr));
    ByteBuffer der(static_cast<std::size_t>(i2d_ASN1_INTEGER(integer.get(), nullptr)));
    auto* out = der.data();
    i2d_ASN1_INTEGER(integer.get(), &out);
    return der;
}

ByteBuffer derSequence(std::initializer_list<const Bignum*> numbers) {
    ByteBuffer body;
    for (const auto* number : numbers) {
        const auto der = derInteger(*number);
        body.insert(body.end(), der.begin(), der.end());
    }
    ByteBuffer sequence{0x30, 0x83, static_cast<std::uint8_t>(body.size() >> 16),
                        static_cast<std::uint8_t>(body.size() >> 8), static_cast<std::uint8_t>(body.size())};
    sequence.insert(sequence.end(), body.begin(), body.end());
    return sequence;
}

// The RSAPrivateKey of RFC 8017, appendix A.1.2.
ByteBuffer derKey(const Numbers& key) {
    const Bignum version(BN_new());
    return derSequence({&version, &key.n, &key.e, &key.d, &key.p, &key.q, &key.dp, &key.dq, &key.qi});
}

using PrivateKeyInfo = Handle<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

PrivateKeyInfo keyInfo(int family, const ByteBuffer& key, int parameterType = V_ASN1_NULL, void* parameters = nullptr) {
    PrivateKeyInfo info(PKCS8_PRIV_KEY_INFO_new());
    auto* const copy = static_cast<unsigned char*>(OPENSSL_memdup(key.data(), key.size()));
    PKCS8_pkey_set0(info.get(), OBJ_nid2obj(family), 0, parameterType, parameters, copy, static_cast<int>(key.size()));
    return info;
}

ByteBuffer derText(const PrivateKeyInfo& info) {
    return written([&](BIO* out) { return i2d_PKCS8_PRIV_KEY_INFO_bio(out, info.get()); });
}

ByteBuffer pemText(const char* label, const ByteBuffer& der) {
    return written(
        [&](BIO* out) { return PEM_write_bio(out, label, "", der.data(), static_cast<long>(der.size())) > 0; });
}

void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}

// With the password "p".
ByteBuffer pkcs12Text(const PrivateKeyInfo& info) {
    const Handle<STACK_OF(PKCS12_SAFEBAG), freeBags> bags(sk_PKCS12_SAFEBAG_new_null());
    sk_PKCS12_SAFEBAG_push(bags.get(),
                           PKCS12_SAFEBAG_create_pkcs8_encrypt(NID_aes_256_cbc, "p", 1, nullptr, 0, 1, info.get()));
    STACK_OF(PKCS7)* safes = nullptr;
    PKCS12_add_safe(&safes, bags.get(), -1, 0, nullptr);
    const Handle<PKCS12, PKCS12_free> file(PKCS12_add_safes(safes, 0));
    sk_PKCS7_pop_free(safes, PKCS7_free);
    PKCS12_set_mac(file.get(), "p", 1, nullptr, 0, 1, nullptr);
    return written([&](BIO* out) { return i2d_PKCS12_bio(out, file.get()); });
}

// Loads the key from its components, as from a JWK, and from DER, PEM and PKCS #12; calls use(load) for each.
template <class Use>
void forEachForm(const Numbers& key, Use use) {
    const auto load = [](const ByteBuffer& text) {
        return SoftwareKeyStore::load(text, KeyClass::privateKey,
                                      [](auto) { return std::optional(SecretBuffer{'p'}); });
    };
    const auto der = derKey(key);
    const auto info = keyInfo(NID_rsaEncryption, der);
    const auto pem = pemText("PRIVATE KEY", derText(info)), pkcs12 = pkcs12Text(info);
    const auto named = [&](const char* name, auto loadKey) {
        SCOPED_TRACE(name);
        use(loadKey);
    };
    named("components", [&] {
        using Secret = SecretBuffer;
        return SoftwareKeyStore::fromComponents(
            RSAPrivateComponents{{bytes<ByteBuffer>(key.n), bytes<ByteBuffer>(key.e)},
                                 bytes<Secret>(key.d),
                                 bytes<Secret>(key.p),
                                 bytes<Secret>(key.q),
                                 bytes<Secret>(key.dp),
                                 bytes<Secret>(key.dq),
                                 bytes<Secret>(key.qi)});
    });
    named("DER", [&] { return load(der); });
    named("PEM", [&] { return load(pem); });
    named("PKCS #12", [&] { return load(pkcs12); });
}

TEST(RSAPrivateKey, AcceptsEverySizeUpTo16384Bits) {
    const auto expectAccepted = [](const Numbers& key) {
        SCOPED_TRACE(BN_num_bits(key.n.get()));
        forEachForm(key, [&](const auto& load) {
            std::optional<SecKey> loaded;
            EXPECT_EQ(textualForm(THROWN_BY(loaded = load())), "nothing was thrown");
            ASSERT_TRUE(loaded);
            EXPECT_EQ(std::get<RSAPublicComponents>(loaded->publicComponents()).modulus, bytes<ByteBuffer>(key.n));
        });
    };
    for (int i = 0; i < 4; ++i) expectAccepted(Numbers(prime(512), prime(512)));
    expectAccepted(Numbers(groupPrime("modp_2048"), groupPrime("ffdhe2048")));
    for (const std::string bits : {"2048", "4096", "8192"}) {
        expectAccepted(Numbers(groupPrime("ffdhe" + bits), groupPrime("modp_" + bits)));
    }
}

TEST(RSAPrivateKey, RejectsForgedNumbers) {
    const auto p = groupPrime("ffdhe2048"), q = groupPrime("modp_2048"), other = groupPrime("modp_3072");
    const auto copy = [](const Bignum& number) { return Bignum(BN_dup(number.get())); };
    const auto make = [&] { return Numbers(copy(p), copy(q)); };
    // A Carmichael number, which passes Fermat's test with nearly every base.
    const auto k =
        fromHexNumber("70077965E560818B20536F0D5DF529DAE9A32552A9BAA74D1DA9AA7ACEF6839D3EB8F8C153DAE99B4809");
    const auto times = [&](BN_ULONG factor) {
        auto product = copy(k);
        BN_mul_word(product.get(), factor);
        return plus(product, 1);
    };
    struct Row {
        const char* name;
        std::function<Numbers()> forge;
        SecurityError error = noPair;
    };
    const auto changed = [&](Bignum Numbers::*member, const std::function<Bignum(const Numbers&)>& change) {
        return [&make, member, change] {
            auto key = make();
            key.*member = change(key);
            return key;
        };
    };
    const auto twoMore = [&](Bignum Numbers::*member) {
        return changed(member, [member](const Numbers& key) { return plus(key.*member, 2); });
    };
    const std::vector<Row> rows{
        {"n is another number", twoMore(&Numbers::n)},
        {"n has a third factor", changed(&Numbers::n, [&](const Numbers& key) { return key.n * other; })},
        {"e is another number", twoMore(&Numbers::e)},
        {"d is another number", twoMore(&Numbers::d)},
        {"d is longer than n", changed(&Numbers::d,
                                       [](const Numbers& key) {
                                           auto sum = plus(key.p, -1) * plus(key.q, -1) * key.n;
                                           BN_add(sum.get(), sum.get(), key.d.get());
                                           return sum;
                                       })},
        {"dp is another number", twoMore(&Numbers::dp)},
        {"dp has p - 1 added", changed(&Numbers::dp,
                                       [](const Numbers& key) {
                                           auto sum = plus(key.dp, -1);
                                           BN_add(sum.get(), sum.get(), key.p.get());
                                           return sum;
                                       })},
        {"dq is another number", twoMore(&Numbers::dq)},
        {"qi is another number", twoMore(&Numbers::qi)},
        {"qi has p added", changed(&Numbers::qi,
                                   [](const Numbers& key) {
                                       auto sum = plus(key.qi, 0);
                                       BN_add(sum.get(), sum.get(), key.p.get());
                                       return sum;
                                   })},
        {"d, dp and dq belong to another e",
         [&] {
             auto key = make();
             BN_set_word(key.e.get(), 257);
             return key;
         }},
        {"p and q are swapped",
         [&] {
             auto key = make();
             std::swap(key.p, key.q);
             return key;
         }},
        {"p is 1",
         [&] {
             auto key = make();
             key.p = power(0);
             key.q = copy(key.n);
             return key;
         }},
        {"p is 3", [&] { return Numbers(plus(power(1), 1), copy(q)); }},
        {"p is composite", [&] { return Numbers(p * q, copy(other)); }},
        {"q is composite", [&] { return Numbers(copy(other), p * q); }},
        {"p is a Carmichael number", [&] { return Numbers(times(6) * times(12) * times(18), copy(other)); }},
        {"p is a Fermat number", [&] { return Numbers(plus(power(2048), 1), copy(q)); }},
        {"p is a power of a prime", [&] { return Numbers(p * p, copy(q)); }},
        {"p is a prime of 9689 bits", [&] { return Numbers(plus(power(9689), -1), copy(q)); }},
        {"n has 16385 bits", [&] { return Numbers(plus(power(8192), 1), plus(power(8192), 3)); }, tooLong},
    };
    for (const auto& [name, forge, error] : rows) {
        SCOPED_TRACE(name);
        forEachForm(forge(), [&expected = error](const auto& load) { EXPECT_ERROR(load(), expected); });
    }
    forEachForm(make(), [](const auto& load) { EXPECT_EQ(textualForm(THROWN_BY(load())), "nothing was thrown"); });
}

// OpenSSL would multiply thousands of primes to decode a key of 2 MB, which takes minutes.
TEST(PrivateKey, OfMoreThan16KilobytesIsNotDecoded) {
    Numbers key(groupPrime("modp_2048"), groupPrime("ffdhe2048"));
    for (const auto& [bits, error] :
         {std::pair{100'000, noPair},
          {120'000, SecurityError("No unencrypted key was found in the PEM or DER text.")}}) {
        key.d = power(bits);
        const auto der = derKey(key);
        EXPECT_ERROR(SoftwareKeyStore::load(der), error);
        EXPECT_ERROR(SoftwareKeyStore::load(derText(keyInfo(NID_rsaEncryption, der))), error);
    }
}

// From 120 kB, OpenSSL would compute for hours before it has a DSA key.
TEST(PrivateKey, OfAnotherFamilyIsNotDecoded) {
    const auto number = [](int bits) { return plus(power(bits), 1); };
    const auto makeDsaKey = [&](int bits) {
        const auto p = number(bits), q = number(bits - 1000), g = number(bits - 2000);
        const auto sequence = derSequence({&p, &q, &g});
        ASN1_STRING* const parameters = ASN1_STRING_new();
        ASN1_STRING_set(parameters, sequence.data(), static_cast<int>(sequence.size()));
        return derText(keyInfo(NID_dsa, derInteger(number(bits - 3000)), V_ASN1_SEQUENCE, parameters));
    };
    const SecurityError otherFamily("A platform key is an RSA key or an EC key on P-256, P-384 or P-521.");
    EXPECT_ERROR(SoftwareKeyStore::load(makeDsaKey(480'000)), otherFamily);
    const auto der = makeDsaKey(8'000);
    for (const auto* label : {"PRIVATE KEY", "RSA PRIVATE KEY", "EC PRIVATE KEY"}) {
        EXPECT_ERROR(SoftwareKeyStore::load(pemText(label, der)), otherFamily);
    }
}

}  // namespace
