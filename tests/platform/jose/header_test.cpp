// Headers of JWS and JWE: how their parameters may be given.
#include "torvane/platform/jose/header.hpp"

#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;
using JOSE::JWEHeader;
using JOSE::JWSHeader;

const auto noAlgorithm = JOSESwiftError::parsingFailed("The header's \"alg\" is missing or not a string.");

TEST(JWSHeader, AcceptsEveryFormOfParameters) {
    const std::string none = R"({"alg":"RS256"})", one = R"({"alg":"RS256","typ":"JWT"})",
                      two = R"({"alg":"RS256","cty":"x","typ":"JWT"})";
    const StringMap map{{"typ", "JWT"}};
    const std::optional<StringMap> some = map, absent;
    const auto id = std::nullopt;
    const std::vector<std::pair<JWSHeader, std::string>> cases{
        {{RS256, {}, id}, none},
        {{RS256, std::nullopt, id}, none},
        {{RS256, absent, id}, none},
        {{RS256, some, id}, one},
        {{RS256, map, id}, one},
        {{RS256, {{"typ", "JWT"}}, id}, one},
        {{RS256, {{"typ", "JWT"}, {"cty", "x"}}, id}, two},
        {{RS256, {{"typ", "JWT"}, {"cty", "x"}, {"typ", "second"}}, id}, two},
    };
    for (const auto& [header, text] : cases) EXPECT_EQ(asText(header.jsonData()), text);
}

TEST(JWEHeader, AcceptsParametersInBraces) {
    const JWEHeader one(RSA_OAEP, A128GCM, {{"typ", "JWT"}}, std::nullopt);
    const JWEHeader two(RSA_OAEP, A128GCM, {{"typ", "JWT"}, {"cty", "x"}}, std::nullopt);
    EXPECT_EQ(asText(one.jsonData()), R"({"alg":"RSA-OAEP","enc":"A128GCM","typ":"JWT"})");
    EXPECT_EQ(asText(two.jsonData()), R"({"alg":"RSA-OAEP","cty":"x","enc":"A128GCM","typ":"JWT"})");
}

TEST(MovedFrom, JWSHeaderIsRejected) {
    const auto signer = JOSE::Signer::create(RS256, privateKey(rsaSig)).value();
    JWSHeader header(RS256, {}, "k");
    EXPECT_ERROR(movedFrom(header).algorithm(), noAlgorithm);
    EXPECT_ERROR(JOSE::JWS(header, {}, signer), noAlgorithm);
}

TEST(MovedFrom, JWEHeaderIsRejected) {
    const auto encrypter = JOSE::Encrypter::create(RSA_OAEP, A128GCM, publicKey(rsaEnc)).value();
    JWEHeader header(RSA_OAEP, A128GCM, {}, "k");
    EXPECT_ERROR(movedFrom(header).encryptionAlgorithm(),
                 JOSESwiftError::parsingFailed("The header's \"enc\" is missing or not a string."));
    EXPECT_ERROR(JOSE::JWE(header, {}, encrypter), noAlgorithm);
}

}  // namespace
