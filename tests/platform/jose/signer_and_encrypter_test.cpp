// Signers, verifiers, encrypters and decrypters: the keys and the headers that they reject.
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;
using JOSE::Signer;
using JOSE::Verifier;

TEST(Verifier, RejectsRSAKeysOfAnUnfitSizeOrExponent) {
    const auto good = std::get<RSAPublicComponents>(publicKey(rsaSig).publicComponents());
    const auto fits = [](const ByteBuffer& modulus, const ByteBuffer& exponent) {
        return Verifier::create(RS256, SecKey(RSAPublicComponents{modulus, exponent})).has_value();
    };
    const std::vector<std::pair<ByteBuffer, bool>> exponents{
        {{3}, true}, {{0x80, 0, 0, 0, 0, 0, 0, 1}, true}, {{1}, false}, {{1, 0, 0, 0, 0, 0, 0, 0, 1}, false}};
    for (const auto& [exponent, isGood] : exponents) EXPECT_EQ(fits(good.modulus, exponent), isGood) << json(exponent);
    EXPECT_ERROR(fits(good.modulus, {4}), SecurityError("An RSA key has an odd modulus and an odd exponent."));
    for (const std::size_t bytes : {255U, 2049U}) {  // 2040 and 16392 bits
        EXPECT_FALSE(fits(ByteBuffer(bytes, 0xff), good.exponent)) << bytes;
    }
}

TEST(SignerAndVerifier, RejectKeysOfAnotherKind) {
    const auto& pair = secp256k1KeyPair();
    EXPECT_FALSE(Signer::create(ES256, *pair.privateKey.keyData()));
    EXPECT_FALSE(Verifier::create(ES256, *pair.publicKey.keyData()));
    EXPECT_FALSE(Signer::create(ES256K, privateKey(ecP256)));
}

TEST(SignerAndVerifier, RejectRawBytesThatAreNoKey) {
    for (const std::size_t size : {0U, 31U, 33U}) EXPECT_FALSE(Signer::create(ES256K, ByteBuffer(size, 1))) << size;
    EXPECT_FALSE(Signer::create(ES256K, ByteBuffer(32, 0xff))) << "beyond the order";
    const auto point = *secp256k1KeyPair().publicKey.keyData();
    ByteBuffer hybrid(point.begin(), point.end());
    EXPECT_TRUE(Verifier::create(ES256K, hybrid));
    hybrid[0] = static_cast<std::uint8_t>(6 + (hybrid[64] & 1));
    EXPECT_FALSE(Verifier::create(ES256K, hybrid));
}

TEST(EncrypterAndDecrypter, RejectAJWKWhosePointIsNotOnTheCurve) {
    auto members = json::parse(keyText(ecEncP256, "jwk_private"));
    members["y"] = members["x"];
    const auto jwk = JOSE::JWK::initFrom(bytesOf(members.dump()));
    EXPECT_FALSE(JOSE::Encrypter::create(ECDH_ES, A128GCM, jwk));
    EXPECT_FALSE(JOSE::Decrypter::create(ECDH_ES, A128GCM, jwk));
}

TEST(JWS, RejectsAHeaderWithAnotherAlgorithm) {
    const auto signer = Signer::create(RS256, privateKey(rsaSig)).value();
    const JOSE::JWSHeader header(RS384, std::nullopt, std::nullopt);
    EXPECT_ERROR(JOSE::JWS(header, {}, signer),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's."));
}

TEST(JWE, RejectsAHeaderWithOtherAlgorithms) {
    const auto encrypter = JOSE::Encrypter::create(RSA_OAEP, A128GCM, publicKey(rsaEnc)).value();
    EXPECT_ERROR(JOSE::JWE(JOSE::JWEHeader(RSA_OAEP_256, A128GCM, {}, std::nullopt), {}, encrypter),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the encrypter's."));
    EXPECT_ERROR(JOSE::JWE(JOSE::JWEHeader(RSA_OAEP, A128CBC_HS256, {}, std::nullopt), {}, encrypter),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"enc\" is not the encrypter's."));
}

}  // namespace
