#include "torvane/jwe/jwe_decrypter.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

JsonWebKey fromPrivateJwk(const std::string& kid) {
    const auto text = keyText(kid, "jwk_private");
    return JsonWebKey::fromPrivateJwk(asBytes(text), JWK_ENC, kid);
}

TEST(JWEDecrypter, EveryConstructorDecryptsWithAPrivateJwk) {
    const auto key = fromPrivateJwk(rsaEnc);
    const auto token = JWEEncrypter(publicJwk(rsaEnc, JWK_ENC)).encryptJWT(asBytes("m"));
    const JWEDecrypter fromKeyAlone(key);
    EXPECT_EQ(fromKeyAlone.jwk()->keyId(), rsaEnc);
    const JWEDecrypter fromNames("RSA-OAEP-256", "A128CBC-HS256", key);
    EXPECT_FALSE(fromNames.jwk());
    EXPECT_EQ(fromNames.jweKeyManagementAlgorithm(), JOSE::KeyManagementAlgorithm::RSA_OAEP_256);
    EXPECT_EQ(fromNames.jweContentEncryptionAlgorithm(), JOSE::ContentEncryptionAlgorithm::A128CBC_HS256);
    const JWEDecrypter fromHandle("RSA-OAEP-256", "A128CBC-HS256", *key.key().keyRef());
    for (const auto* decrypter : {&fromKeyAlone, &fromNames, &fromHandle}) {
        EXPECT_EQ(decrypter->decryptJWE(token), ByteBuffer{'m'});
        EXPECT_EQ(decrypter->decryptJWE(asText(token)), ByteBuffer{'m'});
    }
    const JWEEncrypter ecEncrypter("ECDH-ES+A256KW", "A256GCM", publicKey(ecEncP521), std::nullopt);
    EXPECT_EQ(JWEDecrypter("ECDH-ES+A256KW", "A256GCM", fromPrivateJwk(ecEncP521))
                  .decryptJWE(ecEncrypter.encryptJWT(asBytes("m"))),
              ByteBuffer{'m'});
}

TEST(JWEEncrypterAndDecrypter, WorkWithTheKeyOfTheConstructor) {
    JWEEncrypter encrypter(publicJwk(rsaEnc, JWK_ENC));
    JWEDecrypter decrypter(fromPrivateJwk(rsaEnc));
    encrypter.setJwk(publicJwk(rsaEnc2, JWK_ENC));
    decrypter.setJwk(std::nullopt);
    EXPECT_EQ(encrypter.jwk()->keyId(), rsaEnc2);
    EXPECT_EQ(decrypter.jwk(), std::nullopt);
    EXPECT_EQ(decrypter.decryptJWE(encrypter.encryptJWT(asBytes("m"))), ByteBuffer{'m'});
}

template <class Coder, class... KeyId>
void expectError(const nlohmann::json& row, KeyId... keyId) {
    const std::string by = row["by"], alg = row["alg"], enc = row["enc"];
    const auto key = keyInWords(row["key"]);
    const auto serves = [&by](const char* way) { return by.find(way) != std::string::npos; };
    ASSERT_TRUE(serves("handle") || serves("jwk") || serves("alone"));
    if (serves("handle")) {
        EXPECT_ERROR_TEXT(Coder(alg, enc, key.key().keyRef().value(), keyId...), row["error"]);
    }
    if (serves("jwk")) {
        EXPECT_ERROR_TEXT(Coder(alg, enc, key, keyId...), row["error"]);
    }
    if (serves("alone")) {
        EXPECT_ERROR_TEXT(Coder{key}, row["error"]);
    }
}

TEST(JWEEncrypterAndDecrypter, RejectUnfitNamesAndKeys) {
    forEachRow("key_rejections.json", "jwe", 26, [](const json& row) {
        if (row["role"] == "encrypter") {
            expectError<JWEEncrypter>(row, std::optional<std::string>());
        } else {
            expectError<JWEDecrypter>(row);
        }
    });
}

TEST(JWEDecrypter, ReportsEveryDecryptionFailureAlike) {
    const auto failure = JOSEError::JWEDecrypterError(wrapped(JOSESwiftError::decryptingFailed()));
    for (const auto& [keyManagement, kid] : {std::pair{"RSA-OAEP", rsaEnc}, std::pair{"ECDH-ES+A128KW", ecEncP256}}) {
        for (const auto* encryption : {"A128CBC-HS256", "A256GCM"}) {
            const JWEEncrypter encrypter(keyManagement, encryption, publicKey(kid), std::nullopt);
            const JWEDecrypter decrypter(keyManagement, encryption, privateKey(kid));
            const auto token = encrypter.encryptJWT(ByteBuffer(40, 'x'));
            for (const std::size_t part : {1U, 2U, 3U, 4U}) {
                SCOPED_TRACE(std::string(keyManagement) + " " + encryption + " part " + std::to_string(part));
                EXPECT_ERROR(decrypter.decryptJWE(withFlippedBit(token, part)), failure);
            }
            const JWEDecrypter other(keyManagement, encryption, privateKey(kid == rsaEnc ? rsaEnc2 : "d-enc-ecdhkw"));
            EXPECT_ERROR(other.decryptJWE(token), failure);
        }
    }
}

TEST(JWEDecrypter, WrapsAFailureOfTheKeyStore) {
    for (const auto& [kid, management, what] :
         {std::tuple{rsaEnc, "RSA-OAEP", "decrypt"}, {ecEncP256, "ECDH-ES", "agree on a secret"}}) {
        const auto token = JWEEncrypter(management, "A128GCM", publicKey(kid), std::nullopt).encryptJWT({});
        const auto reason = "This key store does not " + std::string(what) + " with this key.";
        const JWEDecrypter decrypter(management, "A128GCM", keyOfIdleStore(kid));
        EXPECT_ERROR(decrypter.decryptJWE(token), JOSEError::JWEDecrypterError(wrapped(SecurityError(reason))));
    }
}

}  // namespace
