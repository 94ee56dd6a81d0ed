#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using JOSE::SignatureAlgorithm;

SignatureAlgorithm algorithmOf(const nlohmann::json& row) {
    return JOSE::fromRawValue<SignatureAlgorithm>(row["algorithm"].get<std::string>()).value();
}

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
    for (const auto& signedText : {signer.signJWT("m"), signer.signJWT(text), signer.signJWT(std::string_view(text))})
        EXPECT_EQ(signedText, token);
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

TEST(JWSSignerAndVerifier, RejectUnknownNames) {
    for (const std::string name : {"", "none", "HS256", "rs256", "RS256 "}) {
        const auto unknown =
            JOSEError::algorithmNotSupported("Algorithm '" + name + "' is not supported for signing/verifying data.");
        EXPECT_ERROR(JWSSigner(name, privateJwk(rsaSig, JWK_SIG)), unknown);
        EXPECT_ERROR(JWSSigner(name, privateKey(rsaSig), "k"), unknown);
        EXPECT_ERROR(JWSVerifier(name, publicJwk(rsaSig, JWK_SIG)), unknown);
        EXPECT_ERROR(JWSVerifier(name, publicKey(rsaSig)), unknown);
    }
}

TEST(JWSSignerAndVerifier, RejectUnfitPlatformKeysWhenUsed) {
    const auto unfit = [](const std::string& role) {
        return wrapped(JOSEError::invalidKeyFormat("An error occurred while initializing " + role +
                                                   " for JWS. Make sure the key you are using is following the "
                                                   "requirements for the signing algorithm RS256."));
    };
    const auto missing = wrapped(JOSEError::missingKey("Missing required information in the JWK"));
    const auto token = JWSSigner(RS256, privateKey(rsaSig), "k").signJWT("m");
    EXPECT_ERROR(JWSSigner(RS256, publicKey(rsaSig), "k").signJWT("m"), JOSEError::JWSSignerError(unfit("signer")));
    EXPECT_ERROR(JWSSigner("ES256", privateKey(rsaSig), "k").sign("m"), JOSEError::JWSSignerError(unfit("signer")));
    EXPECT_ERROR(JWSSigner("ES256K", privateKey(ecP256), "k").signJWT("m"), JOSEError::JWSSignerError(missing));
    EXPECT_ERROR(JWSVerifier("RS256", privateKey(rsaSig)).verifyJWS(token),
                 JOSEError::JWSVerificationError(unfit("verifier")));
    EXPECT_ERROR(JWSVerifier(ES256K, publicKey(ecP256)).verifyJWS(token), JOSEError::JWSVerificationError(missing));
}

// An RS256 and an ES256K key, each private and public.
std::vector<std::tuple<SignatureAlgorithm, JsonWebKey, JsonWebKey>> movableKeys() {
    const auto& secp = secp256k1KeyPair();
    return {{RS256, privateJwk(rsaSig, JWK_SIG), publicJwk(rsaSig, JWK_SIG)},
            {ES256K, {secp.privateKey, JWK_SIG, "s"}, {secp.publicKey, JWK_SIG, "s"}}};
}

TEST(MovedFrom, JWSSignerSigns) {
    for (const auto& [algorithm, own, peers] : movableKeys()) {
        JWSSigner signer(algorithm, own);
        const auto before = signer.signJWT("m"), after = movedFrom(signer).signJWT("m");
        EXPECT_EQ(headerText(after), headerText(before));
        EXPECT_EQ(JWSVerifier(algorithm, peers).verifyJWS(after), bytesOf("m"));
    }
}

TEST(MovedFrom, JWSVerifierVerifies) {
    for (const auto& [algorithm, own, peers] : movableKeys()) {
        JWSVerifier verifier(algorithm, peers);
        EXPECT_EQ(movedFrom(verifier).verifyJWS(JWSSigner(algorithm, own).signJWT("m")), bytesOf("m"));
    }
}

TEST(JWSSigner, WrapsEveryFailure) {
    forEachRow("key_rejections.json", "sign", 8, [](const json& row) {
        const JWSSigner signer(algorithmOf(row), keyInWords(row["key"]));
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

TEST(JWSVerifier, WrapsEveryFailureOnce) {
    const std::string token(asText(JWSSigner(RS256, keyInWords("private d-sig-rs256 sig")).signJWT(asBytes("m"))));
    forEachRow("key_rejections.json", "verify", 8, [&](const json& row) {
        const JWSVerifier verifier(algorithmOf(row), keyInWords(row["key"]));
        const auto text = row.value("token", token);
        EXPECT_ERROR_TEXT(verifier.verifyJWS(text), row["error"]);
        EXPECT_ERROR_TEXT(verifier.verifyJWS(asBytes(text)), row["error"]);
    });
}

}  // namespace
