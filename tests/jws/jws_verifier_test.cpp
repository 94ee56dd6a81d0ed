#include "torvane/jws/jws_verifier.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;

TEST(JWSVerifier, RejectsUnknownNames) {
    for (const std::string name : {"", "none", "HS256", "rs256", "RS256 "}) {
        const auto unknown =
            JOSEError::algorithmNotSupported("Algorithm '" + name + "' is not supported for signing/verifying data.");
        EXPECT_ERROR(JWSVerifier(name, publicJwk(rsaSig, JWK_SIG)), unknown);
        EXPECT_ERROR(JWSVerifier(name, publicKey(rsaSig)), unknown);
    }
}

TEST(JWSVerifier, RejectsUnfitPlatformKeysWhenUsed) {
    const auto token = JWSSigner(RS256, privateKey(rsaSig), "k").signJWT("m");
    EXPECT_ERROR(JWSVerifier("RS256", privateKey(rsaSig)).verifyJWS(token),
                 JOSEError::JWSVerificationError(wrapped(JOSEError::invalidKeyFormat(
                     "An error occurred while initializing verifier for JWS. Make sure the key you are using is "
                     "following the requirements for the signing algorithm RS256."))));
    EXPECT_ERROR(
        JWSVerifier(ES256K, publicKey(ecP256)).verifyJWS(token),
        JOSEError::JWSVerificationError(wrapped(JOSEError::missingKey("Missing required information in the JWK"))));
}

TEST(JWSVerifier, VerifiesWithTheLastKeyThatWasSet) {
    JWSVerifier verifier(RS256, publicJwk(rsaSig, JWK_SIG));
    verifier.setJwk(publicJwk(rsaSig2, JWK_SIG));
    EXPECT_EQ(verifier.verifyJWS(JWSSigner(RS256, privateJwk(rsaSig2, JWK_SIG)).signJWT("m")), bytesOf("m"));
}

TEST(MovedFrom, JWSVerifierVerifies) {
    for (const auto& [algorithm, kid] : {std::pair{RS256, rsaSig}, {ES256K, "secp256k1"}}) {
        JWSVerifier verifier(algorithm, keyInWords("public " + kid + " sig"));
        const auto token = JWSSigner(algorithm, keyInWords("private " + kid + " sig")).signJWT("m");
        EXPECT_EQ(movedFrom(verifier).verifyJWS(token), bytesOf("m"));
    }
}

TEST(JWSVerifier, WrapsEveryFailureOnce) {
    const std::string token(asText(JWSSigner(RS256, keyInWords("private d-sig-rs256 sig")).signJWT(asBytes("m"))));
    forEachRow("key_rejections.json", "verify", 8, [&](const json& row) {
        const JWSVerifier verifier(row["algorithm"].get<std::string>(), keyInWords(row["key"]));
        const auto text = row.value("token", token);
        EXPECT_ERROR_TEXT(verifier.verifyJWS(text), row["error"]);
        EXPECT_ERROR_TEXT(verifier.verifyJWS(asBytes(text)), row["error"]);
    });
}

}  // namespace
