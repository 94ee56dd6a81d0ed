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

TEST(SignerAndVerifier, RejectKeysThatDoNotFit) {
    const auto withExponent = [](const ByteBuffer& exponent) {
        auto components = std::get<RSAPublicComponents>(publicKey(rsaSig).publicComponents());
        components.exponent = exponent;
        return SecKey(components);
    };
    const auto fits = [](const SecKey& key) { return Verifier::create(RS256, key).has_value(); };
    EXPECT_TRUE(fits(withExponent({3})));
    EXPECT_TRUE(fits(withExponent({0x80, 0, 0, 0, 0, 0, 0, 1})));
    EXPECT_FALSE(fits(withExponent({1})));
    EXPECT_FALSE(fits(withExponent({1, 0, 0, 0, 0, 0, 0, 0, 1})));
    EXPECT_THROW(withExponent({4}), SecurityError);
    for (const std::size_t bytes : {255U, 2049U}) {  // 2040 and 16392 bits
        ByteBuffer modulus(bytes, 0xff);
        EXPECT_FALSE(fits(SecKey(RSAPublicComponents{modulus, {1, 0, 1}}))) << bytes;
    }
    const auto& pair = secp256k1KeyPair();
    EXPECT_FALSE(Signer::create(ES256, *pair.privateKey.keyData()));
    EXPECT_FALSE(Verifier::create(ES256, *pair.publicKey.keyData()));
    EXPECT_FALSE(Signer::create(ES256K, privateKey(ecP256)));
    for (const std::size_t size : {0U, 31U, 33U}) EXPECT_FALSE(Signer::create(ES256K, ByteBuffer(size, 1)));
    EXPECT_FALSE(Signer::create(ES256K, ByteBuffer(32, 0xff))) << "beyond the order";
    auto hybrid = ByteBuffer(pair.publicKey.keyData()->begin(), pair.publicKey.keyData()->end());
    hybrid[0] = static_cast<std::uint8_t>(6 + (hybrid[64] & 1));
    EXPECT_FALSE(Verifier::create(ES256K, hybrid));
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
