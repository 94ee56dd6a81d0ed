// Tests with tokens that an attacker could send. Each row of the tables must be rejected with its error.
#include <map>

#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;
using JOSE::ContentEncryptionAlgorithm;
using JOSE::Decrypter;
using JOSE::Encrypter;
using JOSE::KeyManagementAlgorithm;

const JOSE::Signer& signerOf(const std::string& kid) {
    static std::map<std::string, JOSE::Signer> signers;
    return signers.try_emplace(kid, JOSE::Signer::create(RS256, privateKey(kid)).value()).first->second;
}

// The header of a row, or else the usual one.
std::string headerOf(const json& row, const std::string& usual) {
    const auto bytes = fromHex(row.value("hex", ""));
    return bytes.empty() ? filledIn(row.value("header", usual)) : std::string(asText(bytes));
}

ByteBuffer jwsOf(const json& row) {
    const auto token =
        parts(signedToken(headerOf(row, R"({"alg":"RS256"})"), "s3cret", signerOf(row.value("signer", rsaSig))));
    const auto other = parts(signedToken(R"({"alg":"RS256","kid":"2"})", "another", signerOf(rsaSig)));
    auto signature = token[2];
    if (row.contains("hmac")) {
        Crypto::Hmac mac(HashFunction::SHA256, fromBase64(row["hmac"]));
        mac.update(bytesOf(token[0] + "." + token[1]));
        signature = encodeBase64url(mac.finish());
    }
    return bytesOf(filledIn(row.value("text", "<header>.<payload>.<signature>"), {{"<header2>", other[0]},
                                                                                  {"<payload2>", other[1]},
                                                                                  {"<signature2>", other[2]},
                                                                                  {"<header>", token[0]},
                                                                                  {"<payload>", token[1]},
                                                                                  {"<signature>", signature}}));
}

TEST(HostileTokens, RejectsChangedJWS) {
    const auto verifier = JOSE::Verifier::create(RS256, publicKey(rsaSig)).value();
    forEachHostileRow("hostile_tokens.json", "jws", 119, [&](const json& row) {
        EXPECT_EQ(JOSE::ReceivedJWS(jwsOf(row)).validate(verifier).data(), bytesOf("s3cret"));
    });
}

ByteBuffer jweOf(const json& row, ContentEncryptionAlgorithm encryption) {
    const auto usual = R"({"alg":"RSA-OAEP-256","enc":")" + std::string(rawValue(encryption)) + R"("})";
    const auto recipient = publicKey(rsaEnc);
    ForgedJWE token(encryption, headerOf(row, usual), recipient, HashFunction::SHA256, "s3cret");
    const std::map<std::string, ByteBuffer*> changeable{{"contentEncryptionKey", &token.contentEncryptionKey},
                                                        {"tag", &token.tag},
                                                        {"encryptedKey", &token.encryptedKey},
                                                        {"iv", &token.iv},
                                                        {"ciphertext", &token.ciphertext}};
    const auto part = row.value("part", "");
    if (row.contains("size")) changeable.at(part)->resize(row["size"]);
    if (row.contains("value")) *changeable.at(part) = fromBase64(row["value"]);
    if (part == "contentEncryptionKey") {
        token.encryptedKey = recipient.encrypt(HashFunction::SHA256, token.contentEncryptionKey);
        token.encrypt("s3cret");
    } else if (part == "ciphertext" && encryption == A128CBC_HS256) {
        token.authenticate();
    }
    const auto jwe = parts(token.token());
    return bytesOf(filledIn(
        row.value("text", "<header>.<key>.<iv>.<ciphertext>.<tag>"),
        {{"<header>", jwe[0]}, {"<key>", jwe[1]}, {"<iv>", jwe[2]}, {"<ciphertext>", jwe[3]}, {"<tag>", jwe[4]}}));
}

ByteBuffer decryptToken(ByteView token, ContentEncryptionAlgorithm encryption,
                        KeyManagementAlgorithm keyManagement = RSA_OAEP_256, const std::string& kid = rsaEnc) {
    const auto decrypter = Decrypter::create(keyManagement, encryption, privateKey(kid)).value();
    return JOSE::ReceivedJWE(token).decrypt(decrypter).data();
}

TEST(HostileTokens, RejectsChangedJWE) {
    forEachHostileRow("hostile_tokens.json", "jwe", 211, [](const json& row) {
        const std::string name = row.value("enc", "A128CBC-HS256");
        const auto encryption = JOSE::fromRawValue<ContentEncryptionAlgorithm>(name).value();
        EXPECT_EQ(decryptToken(jweOf(row, encryption), encryption), bytesOf("s3cret"));
    });
}

// Whoever knew the key that takes the place of one that does not decrypt could make tags for it.
TEST(HostileTokens, AnEncryptedKeyThatDoesNotDecryptIsNotReplacedByZeros) {
    for (const auto encryption : {A128CBC_HS256, A256GCM}) {
        auto jwe =
            ForgedJWE(encryption, R"({"alg":"RSA-OAEP-256","enc":")" + std::string(rawValue(encryption)) + R"("})",
                      publicKey(rsaEnc), HashFunction::SHA256, "");
        jwe.contentEncryptionKey.assign(jwe.contentEncryptionKey.size(), 0);
        jwe.encryptedKey.back() ^= 1;
        jwe.encrypt("forged");
        EXPECT_ERROR(decryptToken(jwe.token(), encryption), JOSESwiftError::decryptingFailed());
    }
}

ByteBuffer agreedToken(KeyManagementAlgorithm management) {
    const auto encrypter = Encrypter::create(management, A128GCM, publicKey(ecEncP256)).value();
    return JOSE::JWE(JOSE::JWEHeader(management, A128GCM, {}, std::nullopt), asBytes("s3cret"), encrypter)
        .compactSerializedData();
}

TEST(HostileTokens, RejectsEphemeralKeysOffTheRecipientsCurve) {
    const auto token = agreedToken(ECDH_ES);
    const auto good = json::parse(headerText(token));
    forEachHostileRow("hostile_tokens.json", "agreement", 34, [&](const json& row) {
        auto header = good;
        header.merge_patch(row["patch"]);
        decryptToken(withHeader(token, filledIn(header.dump())), A128GCM, ECDH_ES, ecEncP256);
    });
}

TEST(HostileTokens, RejectsWrappedKeysOfAnotherSize) {
    const auto withKey = [](ByteBuffer token, KeyManagementAlgorithm management, ByteView encryptedKey) {
        auto changed = parts(token);
        changed.at(1) = encodeBase64url(encryptedKey);
        return decryptToken(joined(changed), A128GCM, management, ecEncP256);
    };
    const auto wrapping = agreedToken(ECDH_ES_A128KW), direct = agreedToken(ECDH_ES);
    for (const std::size_t size : {1U, 7U, 8U, 15U, 16U, 23U, 24U, 25U, 32U, 40U, 4096U}) {
        EXPECT_ERROR(withKey(wrapping, ECDH_ES_A128KW, ByteBuffer(size, 7)), JOSESwiftError::decryptingFailed());
    }
    const auto agreed = agreedKeyOf(wrapping, privateKey(ecEncP256), ECDH_ES_A128KW, A128GCM);
    // Correctly wrapped; the first is as long as the content encryption key.
    for (const std::size_t size : {16U, 24U, 32U}) {
        EXPECT_ERROR(withKey(wrapping, ECDH_ES_A128KW, Crypto::wrapKey(agreed, ByteBuffer(size, 7))),
                     JOSESwiftError::decryptingFailed());
    }
    EXPECT_ERROR(withKey(wrapping, ECDH_ES_A128KW, {}), JOSESwiftError::parsingFailed("The encrypted key is empty."));
    EXPECT_ERROR(withKey(direct, ECDH_ES, ByteBuffer(3)),
                 JOSESwiftError::parsingFailed("The encrypted key is not empty."));
}

}  // namespace
