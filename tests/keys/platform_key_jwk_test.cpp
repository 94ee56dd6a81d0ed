#include "torvane/keys/platform_key_jwk.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

JOSEError cannotDecode(const JOSESwiftError& reason) {
    return JOSEError::cannotDecodeJWK(wrapped(reason));
}

TEST(PlatformKeyJWK, WritesTheFourMembersAndNoKeyId) {
    const auto known = json::parse(keyText(rsaSig, "jwk_public"));
    for (const auto& [use, text] :
         {std::pair{JWKUse::JWK_SIG, "sig"}, {JWKUse::JWK_ENC, "enc"}, {JWKUse::JWK_SIG_ENC, "sig_enc"}}) {
        const auto jwk = PlatformKeyJWK::encodeToJWK(publicKey(rsaSig), use);
        EXPECT_EQ(json::parse(jwk), (json{{"kty", "RSA"}, {"n", known["n"]}, {"e", known["e"]}, {"use", text}}));
    }
}

TEST(PlatformKeyJWK, ReadsThePublicKeyOfEitherText) {
    for (const auto* member : {"jwk_public", "jwk_private"}) {
        const auto key = PlatformKeyJWK::decodeFrom(keyText(rsaSig, member));
        EXPECT_TRUE(key.isPublicKey());
        EXPECT_EQ(key.publicComponents(), publicKey(rsaSig).publicComponents());
        EXPECT_EQ(PlatformKeyJWK::decodeFrom(PlatformKeyJWK::encodeToJWK(key, JWKUse::JWK_SIG)).publicComponents(),
                  key.publicComponents());
    }
}

TEST(PlatformKeyJWK, WritesOnlyPublicRSAKeys) {
    const auto isPrivate =
        JOSEError::cannotEncodeJWK(nullptr, "Currently only public key can be encoded to JWK for security reasons.");
    for (const auto& key : {privateKey(rsaSig), keyOfIdleStore(rsaSig), privateKey(ecP256)}) {
        EXPECT_ERROR(PlatformKeyJWK::encodeToJWK(key, JWKUse::JWK_SIG), isPrivate);
    }
    EXPECT_ERROR(PlatformKeyJWK::encodeToJWK(publicKey(ecP256), JWKUse::JWK_SIG),
                 JOSEError::cannotEncodeJWK(
                     wrapped(JOSESwiftError::unsupportedKey("An RSA JWK is made from a public RSA key."))));
}

TEST(PlatformKeyJWK, WrapsReadErrorsButNotInvalidKeys) {
    auto faulty = json::parse(keyText(rsaSig, "jwk_public"));
    faulty.erase("e");
    EXPECT_ERROR(PlatformKeyJWK::decodeFrom(bytesOf(faulty.dump())),
                 cannotDecode(JOSESwiftError::parsingFailed("The JWK's \"e\" is missing or not a string.")));
    EXPECT_ERROR(PlatformKeyJWK::decodeFrom(bytesOf(keyText(ecP256, "jwk_public"))),
                 cannotDecode(JOSESwiftError::unsupportedKey("The JWK is not an RSA key.")));
    faulty["e"] = "Ag";
    EXPECT_ERROR(PlatformKeyJWK::decodeFrom(bytesOf(faulty.dump())),
                 SecurityError("An RSA key has an odd modulus and an odd exponent."));
}

}  // namespace
