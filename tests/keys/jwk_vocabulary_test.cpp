#include "torvane/keys/jwk_vocabulary.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Torvane;
using enum Torvane::JWKUse;

TEST(JWKVocabulary, ReadsItsExactTextsAndNothingElse) {
    for (const auto& [text, use] :
         {std::pair{"sig", JWK_SIG}, std::pair{"enc", JWK_ENC}, std::pair{"sig_enc", JWK_SIG_ENC}}) {
        EXPECT_EQ(fromRawValue<JWKUse>(text), use);
        EXPECT_EQ(rawValue(use), text);
        EXPECT_EQ(std::hash<JWKUse>()(use), std::hash<std::string_view>()(text));
    }
    for (const auto* text : {"", "Sig", "sig ", "sig-enc", "SIG"}) EXPECT_EQ(fromRawValue<JWKUse>(text), std::nullopt);
    EXPECT_EQ(fromRawValue<JWKType>("RSA"), JWKType::RSA);
    EXPECT_EQ(fromRawValue<JWKType>("EC"), JWKType::EC);
    for (const auto* text : {"", "rsa", "ec", "oct"}) EXPECT_EQ(fromRawValue<JWKType>(text), std::nullopt);
}

TEST(JWKVocabulary, MapsEachFamilyToItsOneKeyType) {
    EXPECT_EQ(getKeyType(JWKType::RSA), Zennet::KeyType::RSA2048Key);
    EXPECT_EQ(getKeyType(JWKType::EC), Zennet::KeyType::EC256Key);
}

}  // namespace
