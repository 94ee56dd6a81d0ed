// Tests with nested tokens and keys of another implementation. outcomes.json says how many cases are accepted, and how
// many are rejected for which reason.

#include <algorithm>

#include "tests/testing/temporary_folder.hpp"
#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Testing;
using enum JOSEError::Case;
using JOSE::fromRawValue;

const json& nested() {
    static const auto file = readVectors("nested_interop.json");
    return file;
}

const json& single() {
    static const auto file = readVectors("single_interop.json");
    return file;
}

const json& keyNamed(const json& file, const json& kid) {
    const auto found = std::ranges::find_if(file.at("keys"), [&](const json& key) { return key.at("kid") == kid; });
    if (found == file.at("keys").end()) throw std::runtime_error("no such key: " + kid.dump());
    return *found;
}

ByteBuffer decrypted(const json& vector) {
    const auto key = privateKeyOf(keyNamed(nested(), vector.at("enc_kid")).at("jwk_private"));
    const std::string management = vector.at("jwe_alg"), encryption = vector.at("enc");
    return JWEDecrypter(management, encryption, key).decryptJWE(bytesOf(vector.at("token")));
}

ByteBuffer verified(const json& vector, ByteView jws) {
    const std::string name = vector.at("jws_alg");
    const auto key = publicKeyOf(keyNamed(nested(), vector.at("sig_kid")).at("jwk_public"));
    return JWSVerifier(fromRawValue<JOSE::SignatureAlgorithm>(name).value(), key).verifyJWS(jws);
}

TEST(NestedInterop, OpensEveryValidTokenLayerByLayer) {
    Outcomes outcomes;
    for (const auto& vector : nested().at("valid")) {
        SCOPED_TRACE(vector.at("id").get<std::string>());
        EXPECT_EQ(verified(vector, decrypted(vector)), decoded(vector, "plaintext_b64"));
        outcomes.count(vector.at("jws_alg").get<std::string>());
    }
    outcomes.expect("nested tokens, layer by layer");
}

// A secp256k1 key is not a platform key, but raw bytes; Zennet::openKey() reads it from files as such.
void openSecp256k1(const json& key, Outcomes& outcomes) {
    const auto& jwk = key.at("jwk_private");
    EXPECT_ERROR(privateKeyOf(jwk), JOSESwiftError::unsupportedKey("The JWK's curve is not P-256, P-384 or P-521."));
    outcomes.count("secp256k1 rejected");
    const TemporaryFolder folder;
    const auto bytes = [](const Zennet::Key& opened) {
        return ByteBuffer(opened.keyData().value().begin(), opened.keyData().value().end());
    };
    const auto point = bytes(publicKeyOf(jwk).key());
    for (const auto* member : {"pkcs8_pem", "sec1_pem", "spki_pem"}) {
        if (!key.contains(member)) continue;
        const auto path = folder.write("key.pem", bytesOf(key.at(member)));
        EXPECT_ERROR(openKey(path, KeyClass::publicKey),
                     SecurityError("A platform key is an RSA key or an EC key on P-256, P-384 or P-521."));
        const auto publicHalf = Zennet::openKey(path, KeyClass::publicKey);
        EXPECT_EQ(bytes(publicHalf), point);
        EXPECT_TRUE(publicHalf.isPublicKey());
        outcomes.count("secp256k1 PEM");
        if (member == std::string("spki_pem")) continue;
        const auto privateHalf = Zennet::openKey(path, KeyClass::privateKey);
        EXPECT_EQ(bytes(privateHalf), decoded(jwk, "d"));
        EXPECT_EQ(bytes(privateHalf.publicKey()), point);
    }
}

void loadEveryForm(const json& key, Outcomes& outcomes) {
    const auto components = publicKeyOf(key.at("jwk_public")).key().keyRef().value().publicComponents();
    EXPECT_EQ(privateKeyOf(key.at("jwk_private")).publicComponents(), components);
    outcomes.count("JWK pair");
    for (const std::string member : {"pkcs8_pem", "pkcs1_pem", "sec1_pem", "spki_pem"}) {
        if (!key.contains(member)) continue;
        const auto loaded = SoftwareKeyStore::load(bytesOf(key.at(member)));
        EXPECT_EQ(loaded.publicComponents(), components) << member;
        EXPECT_EQ(loaded.isPublicKey(), member == "spki_pem") << member;
        outcomes.count(member);
    }
}

TEST(InteropKeys, FormsOfAKeyAreEqualOrRejected) {
    Outcomes outcomes;
    for (const auto* file : {&nested(), &single()}) {
        for (const auto& key : file->at("keys")) {
            SCOPED_TRACE(key.at("kid").get<std::string>());
            if (key.at("kty") == "oct") {
                EXPECT_ERROR(privateKeyOf(key.at("jwk_private")),
                             JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key."));
                outcomes.count("oct rejected");
            } else if (key.at("jwk_public").value("crv", "") == "secp256k1") {
                openSecp256k1(key, outcomes);
            } else {
                loadEveryForm(key, outcomes);
            }
        }
    }
    outcomes.expect("keys");
}

}  // namespace
