#include <cstring>

#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Platform;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using JOSE::SignatureAlgorithm;
using JOSE::Signer;
using JOSE::Verifier;

JOSE::Payload validated(ByteView token, const Verifier& verifier) {
    return JOSE::ReceivedJWS(token).validate(verifier);
}

TEST(ReceivedJWS, RefusesHeadersThatASignatureCannotExcuse) {
    const auto signer = Signer::create(RS256, privateKey(rsaSig)).value();
    const auto verifier = Verifier::create(RS256, publicKey(rsaSig)).value();
    ASSERT_EQ(validated(signedToken(R"({"alg":"RS256","b64":true})", "m", signer), verifier).data(), ByteBuffer{'m'});
    forEachRow("token_refusals.json", "jwsHeaders", 18, [&](const json& row) {
        EXPECT_REFUSED(validated(signedToken(row[0].get<std::string>(), "m", signer), verifier), row[1]);
    });
}

TEST(ReceivedJWS, RefusesTextThatIsNotTheOneOfItsBytes) {
    const auto signer = Signer::create(RS256, privateKey(rsaSig)).value();
    const auto pieces = parts(signedToken(R"({"alg":"RS256"})", "{}", signer));
    forEachRow("token_refusals.json", "jwsTexts", 15, [&](const json& row) {
        std::string text = row[0];
        for (const auto& [name, piece] : {std::pair{"HEADER", 0U}, {"PAYLOAD", 1U}, {"SIGNATURE", 2U}}) {
            if (const auto at = text.find(name); at != text.npos) text.replace(at, strlen(name), pieces[piece]);
        }
        EXPECT_REFUSED(JOSE::ReceivedJWS(asBytes(text)), row[1]);
    });
    auto looseBits = pieces;
    ++looseBits[2].back();  // 256 bytes leave four bits unused in the last character
    EXPECT_ERROR(JOSE::ReceivedJWS(joined(looseBits)),
                 JOSESwiftError::parsingFailed("The signature is not valid base64url."));
}

const auto digestOfM = Crypto::digest(HashFunction::SHA256, asBytes("m"));
const auto orderOfSecp256k1 = fromHex("fffffffffffffffffffffffffffffffebaaedce6af48a03bbfd25e8cd0364141");
const auto orderOfP256 = fromHex("ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551");

void expectOnlyNumbersBelow(const ByteBuffer& order, const Verifier& verifier, const ByteBuffer& good) {
    ASSERT_TRUE(verifier.verifyDigest(digestOfM, good));
    for (const auto& number : {order, ByteBuffer(32, 0)}) {
        for (const std::ptrdiff_t half : {0, 32}) {
            auto signature = good;
            std::copy(number.begin(), number.end(), signature.begin() + half);
            EXPECT_FALSE(verifier.verifyDigest(digestOfM, signature));
        }
    }
    for (const std::size_t size : {0U, 1U, 63U, 65U, 96U, 16384U}) {
        auto signature = good;
        signature.resize(size, 0);
        EXPECT_FALSE(verifier.verifyDigest(digestOfM, signature)) << size;
    }
    EXPECT_FALSE(verifier.verifyDigest(ByteView(digestOfM).first(31), good));
}

TEST(Verifier, RefusesEcdsaSignaturesThatAreNoNumbersBelowTheOrder) {
    expectOnlyNumbersBelow(orderOfP256, Verifier::create(ES256, publicKey(ecP256)).value(),
                           Signer::create(ES256, privateKey(ecP256)).value().sign(asBytes("m")));
    const auto& pair = secp256k1KeyPair();
    expectOnlyNumbersBelow(orderOfSecp256k1, Verifier::create(ES256K, *pair.publicKey.keyData()).value(),
                           Signer::create(ES256K, *pair.privateKey.keyData()).value().sign(asBytes("m")));
}

TEST(Verifier, TakesTheHigherSOfSecp256k1) {
    const auto& pair = secp256k1KeyPair();
    const auto signer = Signer::create(ES256K, *pair.privateKey.keyData()).value();
    auto signature = signer.sign(asBytes("m"));
    int borrow = 0;
    for (std::size_t i = 32; i-- > 0;) {  // s becomes the order less s
        const int difference = orderOfSecp256k1[i] - signature[32 + i] - borrow;
        borrow = difference < 0 ? 1 : 0;
        signature[32 + i] = static_cast<std::uint8_t>(difference + 256 * borrow);
    }
    const auto verifier = Verifier::create(ES256K, *pair.publicKey.keyData()).value();
    EXPECT_TRUE(verifier.verifyDigest(digestOfM, signature));
    EXPECT_EQ(signer.sign(asBytes("m")), signer.sign(asBytes("m"))) << "the nonce depends on key and digest alone";
}

TEST(Verifier, RefusesRsaSignaturesOfAnotherLengthOrSalt) {
    const auto key = privateKey(rsaSig);
    for (const auto algorithm : {RS256, PS256}) {
        const auto verifier = Verifier::create(algorithm, key.publicKey()).value();
        const auto good = Signer::create(algorithm, key).value().sign(asBytes("m"));
        ASSERT_TRUE(verifier.verifyDigest(digestOfM, good));
        for (const std::size_t size : {0U, 3U, 255U, 257U, 512U}) {
            auto signature = good;
            signature.resize(size, 0);
            EXPECT_FALSE(verifier.verifyDigest(digestOfM, signature)) << size;
        }
        EXPECT_FALSE(verifier.verifyDigest(digestOfM, ByteBuffer(256, 0)));
        EXPECT_FALSE(verifier.verifyDigest(digestOfM, ByteBuffer(256, 0xff)));
    }
    // Both made with the openssl command: a salt of 32 bytes, and none.
    const auto salts = readVectors("pss_salts.json");
    const auto pssVerifier = Verifier::create(PS256, key.publicKey()).value();
    EXPECT_TRUE(pssVerifier.verifyDigest(digestOfM, fromBase64(salts["saltOf32"])));
    EXPECT_FALSE(pssVerifier.verifyDigest(digestOfM, fromBase64(salts["saltOf0"])));
    const auto pss = Signer::create(PS256, key).value().sign(asBytes("m"));
    EXPECT_FALSE(Verifier::create(RS256, key.publicKey()).value().verifyDigest(digestOfM, pss));
}

TEST(SignerAndVerifier, AreNotMadeForKeysThatDoNotFit) {
    const auto rsaOf = [](const ByteBuffer& exponent) {
        auto numbers = std::get<RSAPublicComponents>(publicKey(rsaSig).publicComponents());
        numbers.exponent = exponent;
        return SecKey(numbers);
    };
    const auto fits = [](const SecKey& key) { return Verifier::create(RS256, key).has_value(); };
    EXPECT_TRUE(fits(rsaOf({3})));
    EXPECT_TRUE(fits(rsaOf({0x80, 0, 0, 0, 0, 0, 0, 1})));
    EXPECT_FALSE(fits(rsaOf({1})));
    EXPECT_FALSE(fits(rsaOf({1, 0, 0, 0, 0, 0, 0, 0, 1})));
    EXPECT_THROW(rsaOf({4}), SecurityError);
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
    EXPECT_EQ(JOSE::fromRawValue<SignatureAlgorithm>("none"), std::nullopt);
}

TEST(JWS, RefusesAHeaderOfAnotherAlgorithm) {
    const auto signer = Signer::create(RS256, privateKey(rsaSig)).value();
    const JOSE::JWSHeader header(RS384, std::nullopt, std::nullopt);
    EXPECT_ERROR(JOSE::JWS(header, {}, signer),
                 JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's."));
}

}  // namespace
