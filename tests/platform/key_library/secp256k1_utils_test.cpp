#include "torvane/platform/key_library/secp256k1_utils.hpp"

#include <concepts>
#include <tuple>

#include <gtest/gtest.h>

#include "torvane/platform/key_library/key.hpp"

#include "tests/testing/keys.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using Zennet::KeyType;

TEST(Secp256k1Utils, GeneratesDifferentPairs) {
    const auto first = Zennet::Secp256k1Utils::generateKeyPair(), second = Zennet::Secp256k1Utils::generateKeyPair();
    EXPECT_FALSE(std::ranges::equal(*first.privateKey.keyData(), *second.privateKey.keyData()));
}

TEST(Secp256k1Utils, WritesOneJwkForBothFormsOfAPoint) {
    const auto& pair = secp256k1KeyPair();
    const auto point = *pair.publicKey.keyData();
    ByteBuffer compressed{static_cast<std::uint8_t>(2 + (point.back() & 1))};
    compressed.insert(compressed.end(), point.begin() + 1, point.begin() + 33);
    const Zennet::PublicKey sameKey(compressed, KeyType::SECP256K1Key);
    EXPECT_EQ(Zennet::Secp256k1Utils::encodeToJwk(sameKey, pair.privateKey, "k"),
              Zennet::Secp256k1Utils::encodeToJwk(pair.publicKey, pair.privateKey, "k"));
}

// The private key 1, and the curve's generator.
const Zennet::PrivateKey scalarOne(fromHex(std::string(63, '0') + '1'), KeyType::SECP256K1Key);
const Zennet::PublicKey generator(fromHex("0479be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798"
                                          "483ada7726a3c4655da4fbfc0e1108a8fd17b448a68554199c47d08ffb10d4b8"),
                                  KeyType::SECP256K1Key);
const Zennet::PublicKey compressed(fromHex("0279be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798"),
                                   KeyType::SECP256K1Key);

TEST(Secp256k1Utils, WritesTheJwkOfAKnownKey) {
    const auto jwk = Zennet::Secp256k1Utils::encodeToJwk(generator, scalarOne, "g");
    EXPECT_EQ(asText(jwk.value()),
              R"({"alg":"ES256K","crv":"secp256k1","kid":"g","kty":"EC",)"
              R"("x":"eb5mfvncu6xVoGKVzocLBwKb_NstzijZWfKBWxb4F5g","y":"SDradyajxGVdpPv8DhEIqP0XtEimhVQZnEfQj_sQ1Lg",)"
              R"("d":"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAE"})");
    EXPECT_EQ(Zennet::Secp256k1Utils::encodeToJwk(generator, std::nullopt, "\xff"), std::nullopt);
}

TEST(Key, Secp256k1PemEqualsThatOfOpenSSL) {
    for (const Zennet::Key& key : {Zennet::Key(scalarOne), Zennet::Key(generator), Zennet::Key(compressed)}) {
        EXPECT_EQ(key.publicKeyPem(),
                  "-----BEGIN PUBLIC KEY-----\n"
                  "MFYwEAYHKoZIzj0CAQYFK4EEAAoDQgAEeb5mfvncu6xVoGKVzocLBwKb/NstzijZ\n"
                  "WfKBWxb4F5hIOtp3JqPEZV2k+/wOEQio/Re0SKaFVBmcR9CP+xDUuA==\n"
                  "-----END PUBLIC KEY-----\n");
    }
}

TEST(PublicKey, EqualsOnlyTheSameKey) {
    using Zennet::PublicKey;
    const ByteBuffer bytes{1, 2};
    const PublicKey rsa(publicKey(rsaSig), KeyType::RSA2048Key), raw(bytes, std::nullopt);
    const std::vector<std::tuple<const char*, PublicKey, PublicKey, bool>> pairs{
        {"another handle and type", rsa, PublicKey(keyOfIdleStore(rsaSig), std::nullopt), true},
        {"another RSA key", rsa, PublicKey(publicKey(rsaEnc), KeyType::RSA2048Key), false},
        {"another family", rsa, PublicKey(publicKey(ecP256), KeyType::EC256Key), false},
        {"raw bytes", rsa, generator, false},
        {"raw bytes of the same type", PublicKey(publicKey(rsaSig), std::nullopt), raw, false},
        {"compressed point", generator, compressed, true},
        {"public key of the scalar", generator, scalarOne.publicKey(), true},
        {"another point", generator, secp256k1KeyPair().publicKey, false},
        {"the same bytes", raw, PublicKey(bytes, std::nullopt), true},
        {"the same bytes of another type", raw, PublicKey(bytes, KeyType::SECP256K1Key), false}};
    for (const auto& [name, a, b, areEqual] : pairs) {
        EXPECT_EQ(a == b, areEqual) << name;
        EXPECT_EQ(b == a, areEqual) << name;
    }
}

// What may hold a secret is not compared.
static_assert(!std::equality_comparable<Zennet::Key> && !std::equality_comparable<Zennet::PrivateKey> &&
              !std::equality_comparable<SecKey> && !std::equality_comparable<JsonWebKey>);

}  // namespace
