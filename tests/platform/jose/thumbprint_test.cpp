#include "torvane/platform/jose/thumbprint.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

// The example of RFC 7638, section 3.1.
const StringMap published{{"kty", "RSA"},
                          {"n",
                           "0vx7agoebGcQSuuPiLJXZptN9nndrQmbXEps2aiAFbWhM78LhWx4cbbfAAtVT86zwu1RK7aPFFxuh"
                           "DR1L6tSoc_BJECPebWKRXjBZCiFV4n3ok"
                           "njhMstn64tZ_2W-5JsGY4Hc5n9yBXArwl93lqt7_RN5w6Cf0h4QyQ5v-65YGjQR0_"
                           "FDW2QvzqY368QQMicAtaSqzs8KJZgnYb9c7d0zgdAZHzu6q"
                           "MQvRL5hajrn1n91CbOpbISD08qNLyrdkt-bFTWhAI4vMQFh6WeZu0fM4lFd2NcRwr3XPksINHaQ-"
                           "G_xBniIqbw0Ls1jF44-csFCur-kEgU8awapJ"
                           "zKnqDKgw"},
                          {"e", "AQAB"},
                          {"alg", "RS256"},
                          {"kid", "2011-04-29"}};

TEST(JWK, ThumbprintEqualsThatOfTheRfcExample) {
    EXPECT_EQ(JOSE::thumbprint(published), "NzbLsXh8uDCcd-6MNwXF4W_7noWXFZAfHkxZsRGC9Xs");
}

// The example of RFC 9278 is the first one.
TEST(JWK, ThumbprintURINamesTheHashFunction) {
    const std::string prefix = "urn:ietf:params:oauth:jwk-thumbprint:";
    EXPECT_EQ(JOSE::thumbprintURI(published), prefix + "sha-256:NzbLsXh8uDCcd-6MNwXF4W_7noWXFZAfHkxZsRGC9Xs");
    const auto jwk = JOSE::JWK::initFrom(keyText(rsaSig, "jwk_public"));
    for (const auto& [hash, name] : {std::pair{HashFunction::SHA256, "sha-256:"},
                                     {HashFunction::SHA384, "sha-384:"},
                                     {HashFunction::SHA512, "sha-512:"}}) {
        EXPECT_EQ(JOSE::thumbprintURI(published, hash), prefix + name + JOSE::thumbprint(published, hash));
        EXPECT_EQ(jwk.thumbprintURI(hash), prefix + name + jwk.thumbprint(hash));
    }
    EXPECT_ERROR(jwk.thumbprintURI(HashFunction::SHA1),
                 JOSESwiftError::unsupportedAlgorithm("A thumbprint URI needs SHA-256, SHA-384 or SHA-512."));
}

TEST(JWK, ThumbprintRejectsCharactersThatJsonMayEscape) {
    for (const std::string odd : {"a/b", "a\"b", "a\\b", "\x7f", "\u00fc", "\n"}) {
        auto jwk = published;
        jwk["n"] = odd;
        EXPECT_ERROR(JOSE::thumbprint(jwk),
                     JOSESwiftError::parsingFailed("The JWK's \"n\" is missing or not plain text."));
    }
}

}  // namespace
