#include "torvane/platform/key_library/open_key.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using Zennet::Secp256k1Utils;

TEST(Secp256k1, IsAnUnknownAlgorithmInABuildWithoutIt) {
    const auto unknown =
        JOSEError::algorithmNotSupported("Algorithm 'ES256K' is not supported for signing/verifying data.");
    const auto& ours = secp256k1KeyPair().privateKey;
    const auto& theirs = secp256k1KeyPair().publicKey;
    EXPECT_ERROR(JWSSigner("ES256K", {ours, JWK_SIG, "s"}), unknown);
    EXPECT_ERROR(JWSVerifier(JOSE::SignatureAlgorithm::ES256K, {theirs, JWK_SIG, "s"}), unknown);
    EXPECT_FALSE(JOSE::Signer::create(JOSE::SignatureAlgorithm::ES256K, *ours.keyData()));
    EXPECT_FALSE(JOSE::Verifier::create(JOSE::SignatureAlgorithm::ES256K, *theirs.keyData()));

    const auto text = keyText("d-sig-es256k", "jwk_public");
    const auto set = JSONSerialization::jsonObject("{\"keys\":[" + text + "]}");
    EXPECT_ERROR(JsonWebKeySet(*set.as<JSONValue::Object>()),
                 JOSEError::algorithmNotSupported("Unsupported algorithm"));
}

TEST(Secp256k1, HasNoKeysInABuildWithoutIt) {
    const auto absent = KeyStoreError::notSupported("This build of the library has no secp256k1 keys.");
    const auto& ours = secp256k1KeyPair().privateKey;
    const auto& theirs = secp256k1KeyPair().publicKey;
    EXPECT_ERROR(Secp256k1Utils::generateKeyPair(), absent);
    EXPECT_ERROR(ours.publicKey(), absent);
    EXPECT_ERROR(theirs.publicKeyPem(), absent);
    EXPECT_ERROR(Zennet::generateSecp256k1KeyAt("none/key.pem"), absent);
    EXPECT_EQ(Secp256k1Utils::encodeToJwk(theirs, std::nullopt, "s"), std::nullopt);
    EXPECT_FALSE(JsonWebKey(theirs, JWK_SIG, "s").encode());
}

}  // namespace
