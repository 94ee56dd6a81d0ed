#include "torvane/platform/key_library/secp256k1_utils.hpp"

#include <gtest/gtest.h>

#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/key_library/key.hpp"

#include "tests/testing/keys.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using Zennet::KeyType;

TEST(Text, OnlyUtf8BecomesAString) {
    for (const std::string text : {"", "plain", "\xC3\xA9", "\xE2\x82\xAC", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(text)), text);
        EXPECT_TRUE(Zennet::isUTF8(asBytes(text)));
    }
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(withNul)), withNul);
    for (const std::string text : {"\xff", "a\x80", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                   "\xF8\x88\x80\x80\x80", "\xE2\x82", "ok\xC3"}) {
        EXPECT_FALSE(Zennet::isUTF8(asBytes(text))) << text;
        EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(text)), "");
    }
}

TEST(Secp256k1Utils, MakesPairsThatTheirJwkHoldsWhole) {
    const auto first = Zennet::Secp256k1Utils::generateKeyPair();
    const auto second = Zennet::Secp256k1Utils::generateKeyPair();
    EXPECT_FALSE(std::ranges::equal(*first.privateKey.keyData(), *second.privateKey.keyData()));
    ByteBuffer compressed{static_cast<std::uint8_t>(2 + (first.publicKey.keyData()->back() & 1))};
    const auto point = *first.publicKey.keyData();
    compressed.insert(compressed.end(), point.begin() + 1, point.begin() + 33);
    const Zennet::PublicKey sameKey(compressed, KeyType::SECP256K1Key);
    EXPECT_EQ(Zennet::Secp256k1Utils::encodeToJwk(sameKey, first.privateKey, "k"),
              Zennet::Secp256k1Utils::encodeToJwk(first.publicKey, first.privateKey, "k"));
}

TEST(Secp256k1Utils, WritesTheJwkOfAKnownKey) {
    // The private key 1, and the curve's generator.
    ByteBuffer one(32, 0);
    one.back() = 1;
    const auto generator = fromHex(
        "0479be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798"
        "483ada7726a3c4655da4fbfc0e1108a8fd17b448a68554199c47d08ffb10d4b8");
    const auto jwk = Zennet::Secp256k1Utils::encodeToJwk(Zennet::PublicKey(generator, KeyType::SECP256K1Key),
                                                         Zennet::PrivateKey(one, KeyType::SECP256K1Key), "g");
    EXPECT_EQ(asText(jwk.value()),
              R"({"alg":"ES256K","crv":"secp256k1","kid":"g","kty":"EC",)"
              R"("x":"eb5mfvncu6xVoGKVzocLBwKb_NstzijZWfKBWxb4F5g","y":"SDradyajxGVdpPv8DhEIqP0XtEimhVQZnEfQj_sQ1Lg",)"
              R"("d":"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAE"})");
    EXPECT_EQ(
        Zennet::Secp256k1Utils::encodeToJwk(Zennet::PublicKey(generator, KeyType::SECP256K1Key), std::nullopt, "\xff"),
        std::nullopt);
}

}  // namespace
