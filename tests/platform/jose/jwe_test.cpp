// JWE after a move, and the encrypters and decrypters below JWEEncrypter and JWEDecrypter.
#include "torvane/platform/jose/jwe.hpp"

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

}  // namespace
