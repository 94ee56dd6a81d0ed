#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using JOSE::SignatureAlgorithm;

SignatureAlgorithm algorithmOf(const nlohmann::json& row) {
    return JOSE::fromRawValue<SignatureAlgorithm>(row["algorithm"].get<std::string>()).value();
}

TEST(JWS, EveryAlgorithmSignsAndVerifiesEverySize) {
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

TEST(JWSSigner, SetsAlgAndKidOverTheCallersAndKeepsTheRest) {
    const JWSSigner signer(RS256, privateJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(headerText(signer.signJWT({})), R"({"alg":"RS256","kid":"d-sig-rs256"})");
    EXPECT_EQ(fromBase64(parts(signer.signJWT(asBytes("m"))).at(2)), signer.sign(asBytes("m")));
    EXPECT_EQ(headerText(signer.signJWT({}, StringMap{{"alg", "none"}, {"kid", "x"}, {"typ", "JWT"}})),
              R"({"alg":"RS256","kid":"d-sig-rs256","typ":"JWT"})");
    auto nameless = signer;
    nameless.setJwk({Zennet::PrivateKey(privateKey(rsaSig), KeyType::RSA2048Key), JWK_SIG, ""});
    EXPECT_EQ(headerText(nameless.signJWT({})), R"({"alg":"RS256","kid":""})");
}

TEST(JWSSigner, WrapsEveryFailure) {
    forEachRow("key_refusals.json", "sign", 8, [](const json& row) {
        const JWSSigner signer(algorithmOf(row), keyInWords(row["key"]));
        const StringMap header = row.value("header", StringMap());
        EXPECT_REFUSED(signer.signJWT({}, header), row["error"]);
        EXPECT_REFUSED(signer.sign({}, header), row["error"]);
    });
}

TEST(JWSSigner, WrapsAFailureOfTheKeyStore) {
    const Zennet::PrivateKey key(keyOfIdleStore(rsaSig), KeyType::RSA2048Key);
    EXPECT_ERROR(JWSSigner(RS256, {key, JWK_SIG, "k"}).signJWT({}),
                 JOSEError::JWSSignerError(wrapped(SecurityError("This key store does not sign with this key."))));
}

TEST(JWSVerifier, TriesAnotherKeyOnAJwsThatWasReadOnce) {
    const auto token = JWSSigner(RS256, privateJwk(rsaSig, JWK_SIG)).signJWT(asBytes("m"));
    const JWSVerifier right(RS256, publicJwk(rsaSig, JWK_SIG)), wrong(RS256, publicJwk(rsaSig2, JWK_SIG));
    const auto expectSecondTry = [&](JOSE::ReceivedJWS jws) {
        EXPECT_ERROR(wrong.verifyJWS(std::move(jws)),
                     JOSEError::JWSVerificationError(
                         wrapped(JOSESwiftError::verifyingFailed("The signature does not verify."))));
        EXPECT_EQ(right.verifyJWS(std::move(jws)), bytesOf("m"));
        EXPECT_ERROR(
            right.verifyJWS(std::move(jws)),
            JOSEError::JWSVerificationError(wrapped(JOSESwiftError::verifyingFailed("The payload has been taken."))));
    };
    expectSecondTry(JOSE::ReceivedJWS(token));
    expectSecondTry(JOSE::ReceivedJWS(ByteBuffer(token)));
}

TEST(ReceivedJWS, LeavesATextAloneThatItDoesNotTakeOver) {
    const JWSSigner signer(RS256, privateJwk(rsaSig, JWK_SIG));
    ByteBuffer payload(20000);
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
    const std::string good(asText(signer.signJWT(payload)));
    const auto payloadAt = good.find('.') + 1, lastDot = good.rfind('.');
    const std::string count = "The compact serialisation does not have 3 parts.";
    std::vector<std::pair<std::string, std::string>> cases{
        {good.substr(0, lastDot), count},
        {good + ".e30", count},
        {std::string(good).insert(payloadAt, "."), count},
        {"e30" + good.substr(payloadAt - 1) + ".e30", count},
        {good + "=", "The signature is not valid base64url."},
        {std::string(good).replace(payloadAt, 1, "=") + "=", "The payload is not valid base64url."},
        {good.substr(0, lastDot + 1), "The signature is empty."},
    };
    for (const auto place : {payloadAt, payloadAt + 8191, payloadAt + 8192, payloadAt + 16384, lastDot - 1})
        cases.emplace_back(std::string(good).replace(place, 1, "="), "The payload is not valid base64url.");
    for (const auto& entry : cases) {
        const auto text = bytesOf(entry.first);
        const auto refusal = JOSESwiftError::parsingFailed(entry.second);
        auto bytes = text;
        EXPECT_ERROR(JOSE::ReceivedJWS(std::move(bytes)), refusal);
        EXPECT_EQ(bytes, text);
        EXPECT_ERROR(JOSE::ReceivedJWS(ByteView(text)), refusal);
    }
}

TEST(JWSVerifier, WrapsEveryFailureOnce) {
    const std::string token(asText(JWSSigner(RS256, keyInWords("private d-sig-rs256 sig")).signJWT(asBytes("m"))));
    forEachRow("key_refusals.json", "verify", 8, [&](const json& row) {
        const JWSVerifier verifier(algorithmOf(row), keyInWords(row["key"]));
        const auto text = row.value("token", token);
        EXPECT_REFUSED(verifier.verifyJWS(text), row["error"]);
        EXPECT_REFUSED(verifier.verifyJWS(asBytes(text)), row["error"]);
    });
}

}  // namespace
