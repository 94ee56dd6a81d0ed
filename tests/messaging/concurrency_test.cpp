#include <atomic>
#include <thread>

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

// Runs under the thread sanitizer too: every object below is shared by all threads, none is guarded.
TEST(Concurrency, SharedHelpersKeysAndSetsServeEightThreads) {
    const JsonWebKeySet ours{privateJwk(rsaSig, JWK_SIG), privateJwk(rsaEnc, JWK_ENC)};
    const JsonWebKeySet theirs{publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)};
    const auto helper = JOSEHelper::Builder().setSenderJwkSet(ours).setRecipientJwkSet(theirs).create();
    const auto& secp = secp256k1KeyPair();
    const JWSSigner secpSigner(JOSE::SignatureAlgorithm::ES256K, {secp.privateKey, JWK_SIG, "s"});
    const JWSVerifier secpVerifier(JOSE::SignatureAlgorithm::ES256K, {secp.publicKey, JWK_SIG, "s"});
    const JWEEncrypter ecEncrypter("ECDH-ES", "A128GCM", publicKey(ecEncP256), std::nullopt);
    const JWEDecrypter ecDecrypter("ECDH-ES", "A128GCM", privateKey(ecEncP256));
    const auto setText = theirs.encodeToString();

    std::atomic<int> rightResults = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 5; ++round) {
                const auto message = bytesOf(std::to_string(i) + "/" + std::to_string(round));
                const auto copy = helper;
                if (copy.decodeMessage(helper.encodeMessage(message)) == message) ++rightResults;
                if (secpVerifier.verifyJWS(secpSigner.signJWT(message)) == message) ++rightResults;
                if (ecDecrypter.decryptJWE(ecEncrypter.encryptJWT(message)) == message) ++rightResults;
                if (JsonWebKeySet(asBytes(setText)).encodeToString() == theirs.encodeToString()) ++rightResults;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(rightResults, 8 * 5 * 4);
}

}  // namespace
