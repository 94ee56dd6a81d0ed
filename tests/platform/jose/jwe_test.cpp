// JWE after a move, and the encrypters and decrypters below JWEEncrypter and JWEDecrypter.
#include "torvane/platform/jose/jwe.hpp"

#include <limits>

#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;

JOSE::Encrypter makeEncrypter() {
    return JOSE::Encrypter::create(RSA_OAEP, A128GCM, publicKey(rsaEnc)).value();
}

JOSE::Decrypter makeDecrypter() {
    return JOSE::Decrypter::create(RSA_OAEP, A128GCM, privateKey(rsaEnc)).value();
}

JOSE::JWE encryptedBy(const JOSE::Encrypter& encrypter) {
    return {JOSE::JWEHeader(RSA_OAEP, A128GCM, {}, "k"), asBytes("m"), encrypter};
}

TEST(MovedFrom, EncrypterEncrypts) {
    auto encrypter = makeEncrypter();
    const auto jwe = encryptedBy(movedFrom(encrypter));
    EXPECT_EQ(JOSE::ReceivedJWE(jwe.compactSerializedData()).decrypt(makeDecrypter()).data(), bytesOf("m"));
}

TEST(MovedFrom, DecrypterDecrypts) {
    const auto jwe = encryptedBy(makeEncrypter());
    auto decrypter = makeDecrypter();
    EXPECT_EQ(JOSE::ReceivedJWE(jwe.compactSerializedData()).decrypt(movedFrom(decrypter)).data(), bytesOf("m"));
}

TEST(MovedFrom, JWEIsEmpty) {
    auto jwe = encryptedBy(makeEncrypter());
    EXPECT_FALSE(jwe.compactSerializedData().empty());
    EXPECT_TRUE(movedFrom(jwe).compactSerializedData().empty());
}

TEST(MovedFrom, ReceivedJWEIsRejected) {
    JOSE::ReceivedJWE received(encryptedBy(makeEncrypter()).compactSerializedData());
    EXPECT_ERROR(std::move(movedFrom(received)).decrypt(makeDecrypter()),
                 JOSESwiftError::parsingFailed("The header's \"alg\" is missing or not a string."));
}

// The token was encrypted as an empty plaintext, and got a ciphertext on its way. The failed call with another key
// empties the buffer, and the tag would then be right.
TEST(ReceivedJWE, AChangedTokenIsNotAcceptedAtTheSecondTry) {
    const JOSE::JWE jwe(JOSE::JWEHeader(RSA_OAEP, A128GCM, {}, "k"), {}, makeEncrypter());
    std::string token(asText(jwe.compactSerializedData()));
    token.insert(token.rfind('.'), "AAAA");
    JOSE::ReceivedJWE received{asBytes(token)};
    const auto other = JOSE::Decrypter::create(RSA_OAEP, A128GCM, privateKey(rsaSig)).value();
    for (const auto& decrypter : {other, makeDecrypter()}) {
        EXPECT_ERROR(std::move(received).decrypt(decrypter), JOSESwiftError::decryptingFailed());
    }
}

TEST(TokenSize, DoesNotWrapAround) {
    // Nothing is read from this payload, whose text just fits a size: the token's does not.
    const std::uint8_t byte = 0;
    const ByteView payload(&byte, std::numeric_limits<std::size_t>::max() / 4 * 3 + 2);
    const std::string form = "\"More bytes than memory can hold.\"";
    EXPECT_ERROR_TEXT(JOSE::JWE(JOSE::JWEHeader(RSA_OAEP, A128GCM, {}, "k"), payload, makeEncrypter()), form);
    const auto signer = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(rsaSig)).value();
    EXPECT_ERROR_TEXT(JOSE::JWS(JOSE::JWSHeader(signer.algorithm(), {}, "k"), payload, signer), form);
}

}  // namespace
