#include <functional>
#include <map>

#include "torvane/platform/jose/jwe.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Platform;
using namespace Testing;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;
using JOSE::ContentEncryptionAlgorithm;
using JOSE::Decrypter;
using JOSE::Encrypter;
using JOSE::KeyManagementAlgorithm;

constexpr auto cbc = A128CBC_HS256;
constexpr auto gcm = A128GCM;
const std::string cbcHeader = R"({"alg":"RSA-OAEP-256","enc":"A128CBC-HS256"})";
const std::string gcmHeader = R"({"alg":"RSA-OAEP-256","enc":"A128GCM"})";

JOSESwiftError parsing(const std::string& text) {
    return JOSESwiftError::parsingFailed(text);
}

ForgedJWE forged(ContentEncryptionAlgorithm encryption, const std::string& header) {
    return {encryption, header, publicKey(rsaEnc), HashFunction::SHA256, "secret"};
}

ByteBuffer opened(ByteView token, ContentEncryptionAlgorithm encryption,
                  KeyManagementAlgorithm keyManagement = RSA_OAEP_256, const std::string& kid = rsaEnc) {
    const auto decrypter = Decrypter::create(keyManagement, encryption, privateKey(kid)).value();
    return JOSE::ReceivedJWE(token).decrypt(decrypter).data();
}

TEST(ReceivedJWE, RefusesHeadersThatATagCannotExcuse) {
    ASSERT_EQ(opened(forged(cbc, cbcHeader).token(), cbc), bytesOf("secret"));
    forEachRow("token_refusals.json", "jweHeaders", 12,
               [](const json& row) { EXPECT_REFUSED(opened(forged(cbc, row[0]).token(), cbc), row[1]); });
}

TEST(ReceivedJWE, RefusesPartsOfAnotherSizeThanTheAlgorithms) {
    forEachRow("token_refusals.json", "jweParts", 12, [](const json& row) {
        const auto encryption = row[0] == "A128GCM" ? gcm : cbc;
        auto token = forged(encryption, encryption == cbc ? cbcHeader : gcmHeader);
        const std::map<std::string, ByteBuffer*> sized{{"tag", &token.tag},
                                                       {"iv", &token.iv},
                                                       {"ciphertext", &token.ciphertext},
                                                       {"encryptedKey", &token.encryptedKey}};
        sized.at(row[1])->resize(row[2]);
        if (row[1] == "ciphertext") token.authenticate();
        EXPECT_REFUSED(opened(token.token(), encryption), row[3]);
    });
}

TEST(ReceivedJWE, TellsNothingOfWhyDecryptionFailed) {
    const auto recipient = publicKey(rsaEnc);
    const auto modulus = std::get<RSAPublicComponents>(recipient.publicComponents()).modulus;
    const std::vector<std::pair<std::string, std::function<void(ForgedJWE&)>>> rows{
        {"bad padding under a valid MAC",
         [](ForgedJWE& t) {
             t.ciphertext.assign(32, 0x33);
             t.authenticate();
         }},
        {"a tag that is off", [](ForgedJWE& t) { t.tag.back() ^= 1; }},
        {"a content key one byte short",
         [&](ForgedJWE& t) { t.encryptedKey = recipient.encrypt(HashFunction::SHA256, ByteBuffer(31, 0x42)); }},
        {"an empty content key", [&](ForgedJWE& t) { t.encryptedKey = recipient.encrypt(HashFunction::SHA256, {}); }},
        {"another OAEP hash",
         [&](ForgedJWE& t) { t.encryptedKey = recipient.encrypt(HashFunction::SHA1, t.contentKey); }},
        {"an encrypted key too short", [](ForgedJWE& t) { t.encryptedKey.pop_back(); }},
        {"an encrypted key too long", [](ForgedJWE& t) { t.encryptedKey.insert(t.encryptedKey.begin(), 0); }},
        {"an encrypted key of zero", [](ForgedJWE& t) { t.encryptedKey.assign(256, 0); }},
        {"an encrypted key of the modulus", [&](ForgedJWE& t) { t.encryptedKey = modulus; }},
    };
    for (const auto& [name, change] : rows) {
        SCOPED_TRACE(name);
        auto token = forged(cbc, cbcHeader);
        change(token);
        EXPECT_ERROR(opened(token.token(), cbc), JOSESwiftError::decryptingFailed());
    }
    // Right in everything, but under the key of A256GCM.
    auto longKey = forged(gcm, gcmHeader);
    longKey.contentKey.assign(32, 0x42);
    longKey.encryptedKey = recipient.encrypt(HashFunction::SHA256, longKey.contentKey);
    longKey.encrypt("secret");
    EXPECT_ERROR(opened(longKey.token(), gcm), JOSESwiftError::decryptingFailed());
}

TEST(ReceivedJWE, RefusesEphemeralKeysThatAreNotOnTheRecipientsCurve) {
    const auto encrypter = Encrypter::create(ECDH_ES, gcm, publicKey(ecEncP256)).value();
    const JOSE::JWEHeader header(ECDH_ES, gcm, {}, std::nullopt);
    const auto token = JOSE::JWE(header, asBytes("secret"), encrypter).compactSerializedData();
    const auto good = nlohmann::json::parse(headerText(token));
    forEachRow("token_refusals.json", "jweAgreement", 13, [&](const json& row) {
        auto changed = good;
        changed.merge_patch(row[1]);
        EXPECT_REFUSED(opened(withHeader(token, changed.dump()), gcm, ECDH_ES, ecEncP256), row[2]);
    });
    auto withKey = parts(token);
    withKey.at(1) = "AAAA";
    EXPECT_ERROR(opened(joined(withKey), gcm, ECDH_ES, ecEncP256), parsing("The encrypted key is not empty."));
}

TEST(ReceivedJWE, AWrappedKeyOfAnyOtherSizeIsAFailureLikeAnyOther) {
    constexpr auto management = ECDH_ES_A128KW;
    const auto encrypter = Encrypter::create(management, gcm, publicKey(ecEncP256)).value();
    const auto token = JOSE::JWE(JOSE::JWEHeader(management, gcm, {}, std::nullopt), asBytes("secret"), encrypter)
                           .compactSerializedData();
    for (const std::size_t size : {1U, 7U, 8U, 15U, 16U, 23U, 25U, 32U, 4096U}) {
        auto pieces = parts(token);
        pieces.at(1) = encodeBase64url(ByteBuffer(size, 7));
        EXPECT_ERROR(opened(joined(pieces), gcm, management, ecEncP256), JOSESwiftError::decryptingFailed());
    }
}

TEST(JWE, RefusesAHeaderOfOtherAlgorithms) {
    const auto encrypter = Encrypter::create(RSA_OAEP, gcm, publicKey(rsaEnc)).value();
    EXPECT_ERROR(JOSE::JWE(JOSE::JWEHeader(RSA_OAEP_256, gcm, {}, std::nullopt), {}, encrypter),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the encrypter's."));
    EXPECT_ERROR(JOSE::JWE(JOSE::JWEHeader(RSA_OAEP, cbc, {}, std::nullopt), {}, encrypter),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"enc\" is not the encrypter's."));
}

}  // namespace
