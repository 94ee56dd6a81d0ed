#include <gtest/gtest.h>

#include "torvane/jws/jws_signer.hpp"
#include "torvane/jws/jws_verifier.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/support/errors.hpp"

#include "tests/testing/expect_error.hpp"
#include "tests/testing/keys.hpp"
#include "tests/testing/tokens.hpp"

namespace {

using enum JOSE::SignatureAlgorithm;
using namespace Testing;
using namespace Torvane;
using enum Torvane::JWKUse;
using JOSE::JOSESwiftError;
using JOSE::SignatureAlgorithm;
using Zennet::KeyType;

SignatureAlgorithm algorithmOf(const nlohmann::json& row) {
    return JOSE::fromRawValue<SignatureAlgorithm>(row["algorithm"].get<std::string>()).value();
}

JsonWebKey signingKey(SignatureAlgorithm algorithm) {
    switch (algorithm) {
        case ES256: return privateJwk(ecP256, JWK_SIG);
        case ES384: return privateJwk(ecP384, JWK_SIG);
        case ES512: return privateJwk(ecP521, JWK_SIG);
        case ES256K: return keyInWords("private secp256k1 sig");
        default: return privateJwk(rsaSig, JWK_SIG);
    }
}

JsonWebKey verificationKey(SignatureAlgorithm algorithm) {
    return keyInWords("public " + signingKey(algorithm).keyId() + " sig");
}

TEST(JWS, EveryAlgorithmSignsAndVerifiesEverySize) {
    for (const auto* name :
         {"RS256", "RS384", "RS512", "PS256", "PS384", "PS512", "ES256", "ES384", "ES512", "ES256K"}) {
        SCOPED_TRACE(name);
        const auto algorithm = JOSE::fromRawValue<SignatureAlgorithm>(name).value();
        const JWSSigner signer(algorithm, signingKey(algorithm));
        const JWSVerifier verifier(algorithm, verificationKey(algorithm));
        for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1000U, 1U << 20}) {
            const ByteBuffer payload(size, static_cast<std::uint8_t>(size));
            const auto token = signer.signJWT(payload);
            EXPECT_EQ(verifier.verifyJWS(token), payload);
            EXPECT_EQ(verifier.verifyJWS(asText(token)), payload);
        }
        auto pieces = parts(signer.signJWT(asBytes("a")));
        pieces.at(2) = parts(signer.signJWT(asBytes("b"))).at(2);
        EXPECT_ERROR(verifier.verifyJWS(joined(pieces)),
                     JOSEError::JWSVerificationError(
                         wrapped(JOSESwiftError::verifyingFailed("The signature does not verify."))));
    }
}

TEST(JWSSigner, SetsAlgAndKidOverTheCallersAndKeepsTheRest) {
    const JWSSigner signer(RS256, privateJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(headerText(signer.signJWT({})), R"({"alg":"RS256","kid":"d-sig-rs256"})");
    EXPECT_EQ(headerText(signer.signJWT({}, StringMap{{"alg", "none"}, {"kid", "x"}, {"typ", "JWT"}})),
              R"({"alg":"RS256","kid":"d-sig-rs256","typ":"JWT"})");
    auto nameless = signer;
    nameless.setJwk({Zennet::PrivateKey(privateKey(rsaSig), KeyType::RSA2048Key), JWK_SIG, ""});
    EXPECT_EQ(headerText(nameless.signJWT({})), R"({"alg":"RS256","kid":""})");
}

TEST(JWSSigner, SignGivesTheSignatureOfTheSameJWS) {
    const JWSSigner signer(RS384, privateJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(fromBase64(parts(signer.signJWT(asBytes("payload"))).at(2)), signer.sign(asBytes("payload")));
}

TEST(JWSSigner, WrapsEveryFailure) {
    const auto rows = readVectors("key_refusals.json").at("sign");
    ASSERT_EQ(rows.size(), 8U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.dump());
        const JWSSigner signer(algorithmOf(row), keyInWords(row["key"]));
        const StringMap header = row.value("header", StringMap());
        EXPECT_REFUSED(signer.signJWT({}, header), row["error"]);
        EXPECT_REFUSED(signer.sign({}, header), row["error"]);
    }
}

TEST(JWSSigner, WrapsAFailureOfTheKeyStore) {
    const Zennet::PrivateKey key(keyOfIdleStore(rsaSig), KeyType::RSA2048Key);
    EXPECT_ERROR(
        JWSSigner(RS256, {key, JWK_SIG, "k"}).signJWT({}),
        JOSEError::JWSSignerError(wrapped(Platform::SecurityError("This key store does not sign with this key."))));
}

TEST(JWSVerifier, WrapsEveryFailureOnce) {
    const auto rows = readVectors("key_refusals.json").at("verify");
    ASSERT_EQ(rows.size(), 8U);
    const std::string token(asText(JWSSigner(RS256, signingKey(RS256)).signJWT(asBytes("m"))));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.dump());
        const JWSVerifier verifier(algorithmOf(row), keyInWords(row["key"]));
        const auto text = row.value("token", token);
        EXPECT_REFUSED(verifier.verifyJWS(text), row["error"]);
        EXPECT_REFUSED(verifier.verifyJWS(asBytes(text)), row["error"]);
    }
}

TEST(JWSHeader, ACallersKidSurvivesWhereNoneIsGiven) {
    const JOSE::JWSHeader kept(ES256, StringMap{{"kid", "theirs"}, {"alg", "x"}}, std::nullopt);
    EXPECT_EQ(asText(kept.jsonData()), R"({"alg":"ES256","kid":"theirs"})");
    const JOSE::JWSHeader replaced(ES256, StringMap{{"kid", "theirs"}}, "ours");
    EXPECT_EQ(asText(replaced.jsonData()), R"({"alg":"ES256","kid":"ours"})");
    EXPECT_EQ(asText(JOSE::JWSHeader(RS256, std::nullopt, std::nullopt).jsonData()), R"({"alg":"RS256"})");
}

}  // namespace
