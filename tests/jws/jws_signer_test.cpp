#include "torvane/jws/jws_signer.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using JOSE::SignatureAlgorithm;

TEST(JWS, RoundTripsEveryAlgorithm) {
    const std::map<SignatureAlgorithm, std::string> kids{
        {RS256, rsaSig}, {RS384, rsaSig}, {RS512, rsaSig}, {PS256, rsaSig}, {PS384, rsaSig},
        {PS512, rsaSig}, {ES256, ecP256}, {ES384, ecP384}, {ES512, ecP521}, {ES256K, "secp256k1"}};
    for (const auto& [algorithm, kid] : kids) {
        SCOPED_TRACE(rawValue(algorithm));
        const JWSSigner signer(algorithm, keyInWords("private " + kid + " sig"));
        const JWSVerifier verifier(algorithm, keyInWords("public " + kid + " sig"));
        for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1000U, 1U << 20}) {
            const ByteBuffer payload(size, static_cast<std::uint8_t>(size));
            const auto token = signer.signJWT(payload);
            EXPECT_EQ(token.capacity(), token.size()) << "what grows leaves the payload behind";
            EXPECT_EQ(verifier.verifyJWS(token), payload);
            EXPECT_EQ(verifier.verifyJWS(asText(token)), payload);
        }
    }
}

TEST(JWSSigner, OverridesAlgAndKidOfTheCaller) {
    const JWSSigner signer(RS256, privateJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(headerText(signer.signJWT({})), R"({"alg":"RS256","kid":"d-sig-rs256"})");
    EXPECT_EQ(fromBase64(parts(signer.signJWT(asBytes("m"))).at(2)), signer.sign(asBytes("m")));
    EXPECT_EQ(headerText(signer.signJWT({}, StringMap{{"alg", "none"}, {"kid", "x"}, {"typ", "JWT"}})),
              R"({"alg":"RS256","kid":"d-sig-rs256","typ":"JWT"})");
    auto nameless = signer;
    nameless.setJwk({Zennet::PrivateKey(privateKey(rsaSig), KeyType::RSA2048Key), JWK_SIG, ""});
    EXPECT_EQ(headerText(nameless.signJWT({})), R"({"alg":"RS256","kid":""})");
}

TEST(JWSSigner, AcceptsHeaderParametersInBraces) {
    const JWSSigner signer(RS256, privateKey(rsaSig), "k");
    EXPECT_EQ(headerText(signer.signJWT("m", {{"typ", "JWT"}})), R"({"alg":"RS256","kid":"k","typ":"JWT"})");
    EXPECT_EQ(signer.sign("m", {{"typ", "JWT"}, {"cty", "x"}}),
              signer.sign("m", StringMap{{"typ", "JWT"}, {"cty", "x"}}));
}

TEST(JWSSigner, SignsTextAsItsBytes) {
    const JWSSigner signer(RS256, privateJwk(rsaSig, JWK_SIG));
    const auto token = signer.signJWT(asBytes("m"));
    const std::string text = "m", tokenText(asText(token));
    for (const auto& signedText : {signer.signJWT("m"), signer.signJWT(text), signer.signJWT(std::string_view(text))}) {
        EXPECT_EQ(signedText, token);
    }
    EXPECT_EQ(signer.sign("m"), signer.sign(asBytes("m")));
    EXPECT_EQ(signer.signJWTToString("m"), tokenText);
    EXPECT_EQ(signer.signJWTToString(asBytes("m")), tokenText);
}

TEST(JWSSignerAndVerifier, ConstructorsAreInterchangeable) {
    for (const auto& [algorithm, kid] : {std::pair{RS256, rsaSig}, {ES384, ecP384}}) {
        const std::string name(rawValue(algorithm));
        const auto own = privateJwk(kid, JWK_SIG), peers = publicJwk(kid, JWK_SIG);
        const std::vector<JWSSigner> signers{
            {algorithm, own}, {name, own}, {algorithm, privateKey(kid), kid}, {name, privateKey(kid), kid}};
        const std::vector<JWSVerifier> verifiers{
            {algorithm, peers}, {name, peers}, {algorithm, publicKey(kid)}, {name, publicKey(kid)}};
        for (const auto& signer : signers) {
            const auto token = signer.signJWT("m");
            EXPECT_EQ(json::parse(headerText(token)), (json{{"alg", name}, {"kid", kid}}));
            for (const auto& verifier : verifiers) EXPECT_EQ(verifier.verifyJWS(token), bytesOf("m"));
        }
    }
}

TEST(JWSSigner, RejectsUnknownNames) {
    for (const std::string name : {"", "none", "HS256", "rs256", "RS256 "}) {
        const auto unknown =
            JOSEError::algorithmNotSupported("Algorithm '" + name + "' is not supported for signing/verifying data.");
        EXPECT_ERROR(JWSSigner(name, privateJwk(rsaSig, JWK_SIG)), unknown);
        EXPECT_ERROR(JWSSigner(name, privateKey(rsaSig), "k"), unknown);
    }
}

TEST(JWSSigner, RejectsUnfitPlatformKeysWhenUsed) {
    const auto unfit = JOSEError::JWSSignerError(wrapped(JOSEError::invalidKeyFormat(
        "An error occurred while initializing signer for JWS. Make sure the key you are using is following the "
        "requirements for the signing algorithm RS256.")));
    EXPECT_ERROR(JWSSigner(RS256, publicKey(rsaSig), "k").signJWT("m"), unfit);
    EXPECT_ERROR(JWSSigner("ES256", privateKey(rsaSig), "k").sign("m"), unfit);
    EXPECT_ERROR(JWSSigner("ES256K", privateKey(ecP256), "k").signJWT("m"),
                 JOSEError::JWSSignerError(wrapped(JOSEError::missingKey("Missing required information in the JWK"))));
}

TEST(MovedFrom, JWSSignerSigns) {
    for (const auto& [algorithm, kid] : {std::pair{RS256, rsaSig}, {ES256K, "secp256k1"}}) {
        JWSSigner signer(algorithm, keyInWords("private " + kid + " sig"));
        const auto before = signer.signJWT("m"), after = movedFrom(signer).signJWT("m");
        EXPECT_EQ(headerText(after), headerText(before));
        EXPECT_EQ(JWSVerifier(algorithm, keyInWords("public " + kid + " sig")).verifyJWS(after), bytesOf("m"));
    }
}

TEST(JWSSigner, WrapsEveryFailure) {
    forEachRow("key_rejections.json", "sign", 8, [](const json& row) {
        const JWSSigner signer(row["algorithm"].get<std::string>(), keyInWords(row["key"]));
        const StringMap header = row.value("header", StringMap());
        EXPECT_ERROR_TEXT(signer.signJWT({}, header), row["error"]);
        EXPECT_ERROR_TEXT(signer.sign({}, header), row["error"]);
    });
}

TEST(JWSSigner, WrapsAFailureOfTheKeyStore) {
    const Zennet::PrivateKey key(keyOfIdleStore(rsaSig), KeyType::RSA2048Key);
    EXPECT_ERROR(JWSSigner(RS256, {key, JWK_SIG, "k"}).signJWT({}),
                 JOSEError::JWSSignerError(wrapped(SecurityError("This key store does not sign with this key."))));
}

}  // namespace
