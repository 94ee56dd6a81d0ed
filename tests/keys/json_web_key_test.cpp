#include "torvane/keys/json_web_key.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using Zennet::PrivateKey;
using Zennet::PublicKey;

const auto notEncoded = JOSEError::cannotEncodeJWK(nullptr, "Failed to encode JWK to JSON.");

nlohmann::json parsed(const std::optional<std::string>& text) {
    return nlohmann::json::parse(text.value());
}

TEST(JWKVocabulary, ReadsOnlyItsExactTexts) {
    for (const auto& [text, use] :
         {std::pair{"sig", JWK_SIG}, std::pair{"enc", JWK_ENC}, std::pair{"sig_enc", JWK_SIG_ENC}}) {
        EXPECT_EQ(fromRawValue<JWKUse>(text), use);
        EXPECT_EQ(rawValue(use), text);
        EXPECT_EQ(std::hash<JWKUse>()(use), std::hash<std::string_view>()(text));
    }
    for (const auto* text : {"", "Sig", "sig ", "sig-enc", "SIG"}) EXPECT_EQ(fromRawValue<JWKUse>(text), std::nullopt);
    for (const auto& [text, type] : {std::pair{"RSA", JWKType::RSA}, {"EC", JWKType::EC}}) {
        EXPECT_EQ(fromRawValue<JWKType>(text), type);
        EXPECT_EQ(std::hash<JWKType>()(type), std::hash<std::string_view>()(text));
    }
    EXPECT_EQ(KeyType::RSA2048Key.name(), "RSA2048");
    EXPECT_EQ(KeyType::EC256Key.name(), "EC256");
    EXPECT_EQ(KeyType::SECP256K1Key.name(), "SECP256K1");
    for (const auto* text : {"", "rsa", "ec", "oct"}) EXPECT_EQ(fromRawValue<JWKType>(text), std::nullopt);
}

TEST(JsonWebKey, PublicKeysCarryTheirNumbersUseAndId) {
    const auto rsa = publicJwk(rsaSig, JWK_SIG_ENC);
    const auto expected = nlohmann::json::parse(keyText(rsaSig, "jwk_public"));
    const auto json = parsed(rsa.encodeToString());
    EXPECT_EQ(json,
              (nlohmann::json{
                  {"kty", "RSA"}, {"n", expected["n"]}, {"e", expected["e"]}, {"use", "sig_enc"}, {"kid", rsaSig}}));
    EXPECT_EQ(bytesOf(*rsa.encodeToString()), rsa.encode());
    EXPECT_EQ(rsa.encodeToDictionary().at("n"), expected["n"].get<std::string>());
    EXPECT_EQ(rsa.getKeyId(), rsa.keyId());

    const auto ec = parsed(publicJwk(ecP521, JWK_SIG).encodeToString());
    EXPECT_EQ(ec["crv"], "P-521");
    EXPECT_EQ(ec["x"].get<std::string>().size(), 88U) << "a coordinate keeps its leading zero bytes";
}

TEST(JsonWebKey, OnlyRSA2048KeyIsExportedAsRSA) {
    const auto ec = publicKey(ecP256);
    const auto rsa = publicKey(rsaSig);
    EXPECT_EQ((*JsonWebKey(PublicKey(ec, std::nullopt), JWK_SIG, "k").jwk())["kty"], "EC");
    EXPECT_ERROR(JsonWebKey(PublicKey(ec, KeyType::RSA2048Key), JWK_SIG, "k"),
                 JOSESwiftError::unsupportedKey("An RSA JWK is made from a public RSA key."));
    EXPECT_ERROR(JsonWebKey(PublicKey(rsa, std::nullopt), JWK_SIG, "k"),
                 JOSESwiftError::unsupportedKey("An EC JWK is made from a public EC key."));
    EXPECT_ERROR(JsonWebKey(PublicKey(privateKey(rsaSig), KeyType::RSA2048Key), JWK_SIG, "k"),
                 JOSESwiftError::unsupportedKey("An RSA JWK is made from a public RSA key."));
}

TEST(JsonWebKey, TakesClassAndTypeFromThePlatformKey) {
    for (const auto& [kid, type] :
         {std::pair{rsaSig, KeyType::RSA2048Key}, {ecP256, KeyType::EC256Key}, {ecP521, KeyType::EC256Key}}) {
        for (const auto& key : {privateKey(kid), keyOfIdleStore(kid), publicKey(kid)}) {
            const JsonWebKey jwk(key, JWK_SIG, "k");
            EXPECT_EQ(jwk.key().keyType(), type);
            EXPECT_EQ(jwk.key().isPublicKey(), key.isPublicKey());
            EXPECT_EQ(jwk.platformKey().isPublicKey(), key.isPublicKey());
            EXPECT_EQ(jwk.platformKey().publicComponents(), key.publicComponents());
        }
    }
    EXPECT_ERROR(keyInWords("public secp256k1 sig").platformKey(),
                 JOSEError::missingKey("Missing keyRef for key secp256k1"));
}

TEST(JsonWebKey, PublicHalfHoldsNothingPrivate) {
    for (const auto* words : {"private d-sig-rs256 sig", "private d-sig-es384 enc", "privateJwk d-enc-oaep256 sig_enc",
                              "private secp256k1 sig", "public d-sig-rs256 sig", "public secp256k1 sig"}) {
        const auto key = keyInWords(words), half = key.publicHalf();
        SCOPED_TRACE(words);
        EXPECT_TRUE(half.key().isPublicKey());
        EXPECT_EQ(half.use(), key.use());
        EXPECT_EQ(half.key().keyType(), key.key().keyType());
        EXPECT_EQ(half.thumbprint(), key.thumbprint());
        EXPECT_EQ(half.pairingKey(), std::nullopt);
        const auto members = half.encodeToDictionary();
        EXPECT_EQ(members.at("kid"), key.keyId());
        EXPECT_FALSE(members.contains("d"));
    }
    EXPECT_EQ(keyInWords("privateJwk d-enc-oaep256 enc").publicHalf().encodeToDictionary().at("alg"), "RSA-OAEP-256");
    EXPECT_ERROR(keyInWords("private secp256k1-zero sig").publicHalf(),
                 SecurityError("The raw bytes are not a secp256k1 private key."));
}

TEST(JsonWebKey, PublicKeyPemEqualsTheVectors) {
    for (const auto& kid : {rsaSig, ecP256, ecP384, ecP521}) {
        EXPECT_EQ(privateJwk(kid, JWK_SIG).publicKeyPem(), keyText(kid, "spki_pem"));
        EXPECT_EQ(publicJwk(kid, JWK_SIG).publicKeyPem(), keyText(kid, "spki_pem"));
    }
    EXPECT_ERROR(keyInWords("public secp256k1-off-curve sig").publicKeyPem(),
                 SecurityError("The raw bytes are not a secp256k1 public key."));
}

TEST(JsonWebKey, PrivateKeysAreNeverWritten) {
    for (const auto* words : {"private d-sig-rs256 sig", "private d-sig-es384 sig", "privateJwk d-enc-oaep256 enc"}) {
        const auto key = keyInWords(words);
        SCOPED_TRACE(key.keyId());
        EXPECT_EQ(key.encode(), std::nullopt);
        EXPECT_EQ(key.encodeToString(), std::nullopt);
        EXPECT_ERROR(key.encodeToDictionary(), notEncoded);
    }
    const JsonWebKey alone(secp256k1KeyPair().privateKey, JWK_SIG, "without its pairing key");
    EXPECT_EQ(alone.encode(), std::nullopt);
    EXPECT_ERROR(alone.encodeToDictionary(), notEncoded);
}

TEST(JsonWebKey, ThumbprintDependsOnThePublicKeyOnly) {
    for (const auto& kid : {rsaSig, ecP256, ecP521}) {
        const auto expected = JOSE::JWK::initFrom(bytesOf(keyText(kid, "jwk_private"))).thumbprint();
        EXPECT_EQ(privateJwk(kid, JWK_ENC).thumbprint(), expected);
        EXPECT_EQ(publicJwk(kid, JWK_SIG).thumbprint(), expected);
        const auto uri = "urn:ietf:params:oauth:jwk-thumbprint:sha-256:" + expected;
        EXPECT_EQ(privateJwk(kid, JWK_ENC).thumbprintURI(), uri);
        EXPECT_EQ(publicJwk(kid, JWK_SIG).thumbprintURI(), uri);
    }
    const auto& [privateHalf, publicHalf] = secp256k1KeyPair();
    EXPECT_EQ(JsonWebKey(privateHalf, JWK_SIG, "own").thumbprint(), JsonWebKey(publicHalf, JWK_SIG, "").thumbprint());
    const std::vector<std::uint8_t> zero(32);
    EXPECT_ERROR(JsonWebKey(Zennet::PrivateKey(zero, KeyType::SECP256K1Key), JWK_SIG, "zero").thumbprint(),
                 SecurityError("The raw bytes are not a secp256k1 private key."));
    EXPECT_ERROR(JsonWebKey(Zennet::PublicKey(zero, KeyType::SECP256K1Key), JWK_SIG, "zero").thumbprint(), notEncoded);
    for (const auto& key : {publicKey(ecP256), publicKey(rsaSig), privateKey(rsaSig)}) {
        const auto keyClass = key.isPublicKey() ? KeyClass::publicKey : KeyClass::privateKey;
        EXPECT_ERROR(JsonWebKey(key, keyClass, KeyType::SECP256K1Key, JWK_SIG, "named wrongly").thumbprint(),
                     notEncoded);
    }
    EXPECT_ERROR(JsonWebKey(privateKey(rsaSig), KeyClass::privateKey, KeyType::EC256Key, JWK_SIG, "k").thumbprint(),
                 JOSE::JOSESwiftError::unsupportedKey("An EC JWK is made from a public EC key."));
}

TEST(JsonWebKey, RequiresAPlatformKeyExceptForSecp256k1) {
    const ByteBuffer bytes(32, 1);
    const auto missing = JOSEError::missingKey("Missing keyRef for key k1");
    EXPECT_ERROR(JsonWebKey(PrivateKey(bytes, KeyType::EC256Key), JWK_SIG, "k1"), missing);
    EXPECT_ERROR(JsonWebKey(PublicKey(bytes, std::nullopt), JWK_SIG, "k1"), missing);
    EXPECT_EQ(JsonWebKey(PublicKey(bytes, KeyType::SECP256K1Key), JWK_SIG, "k1").jwk(), std::nullopt);
}

TEST(JsonWebKey, WritesAPrivateSecp256k1KeyOnlyInAPair) {
    const auto& [privateKey, publicKey] = secp256k1KeyPair();
    EXPECT_EQ(parsed(JsonWebKey(publicKey, JWK_SIG, "p").encodeToString()).size(), 6U) << "without \"d\"";
    const auto scalar = *privateKey.keyData();
    EXPECT_EQ(fromBase64(JsonWebKey(privateKey, JWK_SIG, "p", publicKey).encodeToDictionary().at("d")),
              ByteBuffer(scalar.begin(), scalar.end()));
    const auto stranger = PrivateKey(ByteBuffer(32, 7), KeyType::SECP256K1Key).publicKey();
    EXPECT_EQ(JsonWebKey(privateKey, JWK_SIG, "p", stranger).encode(), std::nullopt);
    EXPECT_EQ(JsonWebKey(privateKey, JWK_SIG, "p", privateKey).encode(), std::nullopt);
}

TEST(JsonWebKey, DoesNotWriteASecp256k1PointOffTheCurve) {
    EXPECT_ERROR(keyInWords("public secp256k1-off-curve sig").encodeToDictionary(), notEncoded);
}

TEST(JsonWebKey, EscapesTheSlashOfASecp256k1KeyId) {
    const auto text = JsonWebKey(secp256k1KeyPair().publicKey, JWK_SIG, "a/b").encodeToString();
    EXPECT_NE(text.value().find(R"("kid":"a\/b")"), std::string::npos) << *text;
}

TEST(JsonWebKey, ReadsUseAndIdWithTheirDefaults) {
    const auto numbers = nlohmann::json::parse(keyText(ecP256, "jwk_public"));
    const auto read = [&](const char* member, nlohmann::json value) {
        auto json = numbers;
        json.erase("kid");
        json[member] = std::move(value);
        const auto text = json.dump();
        return JsonWebKey(text, KeyType::EC256Key);
    };
    EXPECT_EQ(read("use", "enc").use(), JWK_ENC);
    EXPECT_EQ(read("use", "Enc").use(), JWK_SIG_ENC);
    EXPECT_EQ(read("use", 7).use(), JWK_SIG_ENC);
    const auto first = read("use", "sig");
    EXPECT_EQ(first.keyId().size(), 36U);
    EXPECT_NE(first.keyId(), read("use", "sig").keyId());
    EXPECT_EQ(read("kid", "").keyId(), "");
    EXPECT_EQ(first.key().keyType(), KeyType::EC256Key);
    EXPECT_TRUE(first.key().isPublicKey());
}

TEST(JsonWebKey, PublicKeyOfAPrivateJwkHoldsNothingPrivate) {
    const auto text = keyText(rsaSig, "jwk_private");
    const JsonWebKey key(asBytes(text), KeyType::RSA2048Key);
    EXPECT_TRUE(key.key().isPublicKey() && key.key().keyRef()->isPublicKey());
    EXPECT_FALSE(key.encodeToDictionary().contains("d"));
    const JsonWebKey fromPrivate(JOSE::JWK::initPrivateFrom(asBytes(text)));
    EXPECT_TRUE(fromPrivate.key().keyRef()->isPublicKey());
    EXPECT_TRUE(fromPrivate.jwk()->converted().isPublicKey());
}

TEST(JsonWebKey, FromPrivateJwkHoldsAPlatformPrivateKey) {
    for (const auto& [kid, type] : {std::pair{rsaEnc, KeyType::RSA2048Key}, std::pair{ecEncP384, KeyType::EC256Key}}) {
        const auto key = JsonWebKey::fromPrivateJwk(keyText(kid, "jwk_private"), JWK_ENC, "mine");
        EXPECT_FALSE(key.key().isPublicKey());
        EXPECT_EQ(key.key().keyType(), type);
        EXPECT_EQ(key.keyId(), "mine");
        EXPECT_EQ(key.key().keyRef()->publicComponents(), privateKey(kid).publicComponents());
        EXPECT_FALSE(key.key().keyRef()->isPublicKey());
        EXPECT_FALSE(key.jwk()->converted().isPublicKey());
    }
    EXPECT_ERROR(JsonWebKey::fromPrivateJwk(R"({"kty":"oct","k":"AA"})", JWK_ENC, "k"),
                 JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key."));
}

TEST(JsonWebKey, WrapsErrorsOfUnusableJwks) {
    const JOSE::RSAPublicKey unwritable(publicKey(rsaSig), {{"kid", "\xff"}});
    EXPECT_ERROR(JsonWebKey{unwritable}, JOSEError::cannotDecodeJWK(nullptr));

    const auto text = keyText(rsaSig, "jwk_public");
    EXPECT_ERROR(JsonWebKey(asBytes(text), KeyType::EC256Key),
                 JOSESwiftError::unsupportedKey("The JWK is not an EC key."));
}

}  // namespace
