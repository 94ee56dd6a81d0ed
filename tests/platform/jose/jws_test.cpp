// JWS from peers, and the signers and verifiers below JWSSigner and JWSVerifier.
#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"
#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;

TEST(ReceivedJWS, KeepsItsPayloadForAnotherKey) {
    const auto token = JWSSigner(RS256, privateJwk(rsaSig, JWK_SIG)).signJWT("m");
    const auto right = JOSE::Verifier::create(RS256, publicKey(rsaSig)).value();
    const auto wrong = JOSE::Verifier::create(RS256, publicKey(rsaSig2)).value();
    const auto expectSecondTry = [&](JOSE::ReceivedJWS jws) {
        const auto validate = [&jws](const JOSE::Verifier& verifier) {
            return std::move(jws).validate(verifier).data();
        };
        EXPECT_ERROR(validate(wrong), JOSESwiftError::verifyingFailed("The signature does not verify."));
        EXPECT_EQ(validate(right), bytesOf("m"));
        EXPECT_ERROR(validate(right), JOSESwiftError::verifyingFailed("The payload has been taken."));
    };
    expectSecondTry(JOSE::ReceivedJWS(token));
    expectSecondTry(JOSE::ReceivedJWS(ByteBuffer(token)));
}

TEST(ReceivedJWS, LeavesRejectedTextUnchanged) {
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
    for (const auto place : {payloadAt, payloadAt + 8191, payloadAt + 8192, payloadAt + 16384, lastDot - 1}) {
        cases.emplace_back(std::string(good).replace(place, 1, "="), "The payload is not valid base64url.");
    }
    for (const auto& entry : cases) {
        const auto text = bytesOf(entry.first);
        const auto rejection = JOSESwiftError::parsingFailed(entry.second);
        auto bytes = text;
        EXPECT_ERROR(JOSE::ReceivedJWS(std::move(bytes)), rejection);
        EXPECT_EQ(bytes, text);
        EXPECT_ERROR(JOSE::ReceivedJWS(ByteView(text)), rejection);
    }
}

const ByteBuffer someDigest(32, 7);

TEST(MovedFrom, SignerSigns) {
    const auto& pair = secp256k1KeyPair();
    auto signer = JOSE::Signer::create(ES256K, *pair.privateKey.keyData()).value();
    const auto expected = signer.signDigest(someDigest);
    EXPECT_EQ(movedFrom(signer).signDigest(someDigest), expected);
}

TEST(MovedFrom, VerifierVerifies) {
    const auto& pair = secp256k1KeyPair();
    const auto signature = JOSE::Signer::create(ES256K, *pair.privateKey.keyData()).value().signDigest(someDigest);
    auto verifier = JOSE::Verifier::create(ES256K, *pair.publicKey.keyData()).value();
    EXPECT_TRUE(movedFrom(verifier).verifyDigest(someDigest, signature));
    EXPECT_FALSE(verifier.verifyDigest(ByteBuffer(32, 8), signature));
}

TEST(MovedFrom, ReceivedJWSIsRejected) {
    const auto verifier = JOSE::Verifier::create(RS256, publicKey(rsaSig)).value();
    JOSE::ReceivedJWS received(JWSSigner(RS256, privateKey(rsaSig), "k").signJWT("m"));
    EXPECT_ERROR(std::move(movedFrom(received)).validate(verifier),
                 JOSESwiftError::parsingFailed("The header's \"alg\" is missing or not a string."));
}

TEST(HostileTokens, RejectsWrongSignatures) {
    forEachHostileRow("hostile_signatures.json", "signatures", 137, [](const json& row) {
        const std::string name = row["alg"], kid = row["kid"], signature = row["signature"];
        const auto header = encodeBase64url(asBytes(R"({"alg":")" + name + R"("})"));
        const JWSVerifier verifier(JOSE::fromRawValue<JOSE::SignatureAlgorithm>(name).value(),
                                   publicKeyOf(json::parse(keyText(kid, "jwk_public"))));
        EXPECT_EQ(verifier.verifyJWS(header + ".bQ." + signature), ByteBuffer{'m'});
    });
}

}  // namespace
