#include "torvane/jwe/jwe_encrypter.hpp"

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

TEST(JWE, RoundTripsEveryCombinationOfAlgorithms) {
    for (const auto* keyManagement : {"RSA-OAEP", "RSA-OAEP-256", "RSA-OAEP-384", "RSA-OAEP-512", "ECDH-ES",
                                      "ECDH-ES+A128KW", "ECDH-ES+A192KW", "ECDH-ES+A256KW"}) {
        for (const auto* encryption :
             {"A128CBC-HS256", "A192CBC-HS384", "A256CBC-HS512", "A128GCM", "A192GCM", "A256GCM"}) {
            const bool isRSA = keyManagement[0] == 'R';
            const auto kids = isRSA ? std::vector{rsaEnc} : std::vector{ecEncP256, ecEncP384, ecEncP521};
            for (const auto& kid : kids) {
                SCOPED_TRACE(std::string(keyManagement) + " " + encryption + " " + kid);
                const JWEEncrypter encrypter(keyManagement, encryption, publicKey(kid), kid);
                const JWEDecrypter decrypter(keyManagement, encryption, privateKey(kid));
                for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1000U, 12288U, 12289U, 1U << 20}) {
                    const ByteBuffer payload(size, static_cast<std::uint8_t>(size));
                    const auto token = encrypter.encryptJWT(payload);
                    EXPECT_EQ(decrypter.decryptJWE(token), payload) << size;
                    EXPECT_EQ(token.capacity(), token.size()) << "the reserved size is the exact one";
                }
            }
        }
    }
}

TEST(JWEEncrypter, OverridesHeaderParametersOfTheCaller) {
    const auto key = publicKey(rsaEnc);
    const JWEEncrypter withId("RSA-OAEP-256", "A128CBC-HS256", key, "k");
    const JWEEncrypter withoutId("RSA-OAEP", "A256GCM", key, std::nullopt);
    const StringMap callers{{"alg", "dir"}, {"enc", "x"}, {"kid", "theirs"}, {"cty", "text"}, {"x", "y"}};
    EXPECT_EQ(headerText(withId.encryptJWT({})), R"({"alg":"RSA-OAEP-256","enc":"A128CBC-HS256","kid":"k"})");
    EXPECT_EQ(headerText(withId.encryptJWT({}, callers)),
              R"({"alg":"RSA-OAEP-256","cty":"text","enc":"A128CBC-HS256","kid":"k","x":"y"})");
    EXPECT_EQ(headerText(withoutId.encryptJWT({}, callers, true)),
              R"({"alg":"RSA-OAEP","cty":"JWT","enc":"A256GCM","kid":"theirs","x":"y"})");
    EXPECT_EQ(headerText(withoutId.encryptJWT({})), R"({"alg":"RSA-OAEP","enc":"A256GCM"})");
}

TEST(JWEEncrypter, AcceptsEveryFormOfInput) {
    const JWEEncrypter encrypter("RSA-OAEP", "A128GCM", publicKey(rsaEnc), std::nullopt);
    const JWEDecrypter decrypter("RSA-OAEP", "A128GCM", privateKey(rsaEnc));
    const std::string none = R"({"alg":"RSA-OAEP","enc":"A128GCM"})",
                      one = R"({"alg":"RSA-OAEP","enc":"A128GCM","typ":"JWT"})",
                      two = R"({"alg":"RSA-OAEP","cty":"x","enc":"A128GCM","typ":"JWT"})";
    const std::string text = "m";
    const std::optional<StringMap> some = StringMap{{"typ", "JWT"}};
    const std::vector<std::pair<ByteBuffer, std::string>> cases{
        {encrypter.encryptJWT("m"), none},
        {encrypter.encryptJWT(asBytes("m"), {}), none},
        {encrypter.encryptJWT(text, std::nullopt), none},
        {encrypter.encryptJWT(std::string_view(text), some), one},
        {encrypter.encryptJWT("m", {{"typ", "JWT"}}), one},
        {encrypter.encryptJWT("m", {{"typ", "JWT"}, {"cty", "x"}}), two},
        {bytesOf(encrypter.encryptJWTToString("m", {{"cty", "x"}, {"typ", "JWT"}})), two},
        {bytesOf(encrypter.encryptJWTToString(asBytes("m"), some)), one},
    };
    for (const auto& [token, header] : cases) {
        EXPECT_EQ(headerText(token), header);
        EXPECT_EQ(decrypter.decryptJWE(token), bytesOf("m"));
    }
}

TEST(JWEEncrypterAndDecrypter, ConstructorsAreInterchangeable) {
    using enum JOSE::KeyManagementAlgorithm;
    using enum JOSE::ContentEncryptionAlgorithm;
    const auto text = keyText(rsaEnc, "jwk_private");
    const auto own = JsonWebKey::fromPrivateJwk(asBytes(text), JWK_ENC, rsaEnc), peers = publicJwk(rsaEnc, JWK_ENC);
    const std::vector<JWEEncrypter> encrypters{{RSA_OAEP, A256GCM, publicKey(rsaEnc), "k"},
                                               {RSA_OAEP, "A256GCM", publicKey(rsaEnc), "k"},
                                               {"RSA-OAEP", A256GCM, peers, "k"}};
    const std::vector<JWEDecrypter> decrypters{
        {RSA_OAEP, A256GCM, privateKey(rsaEnc)}, {"RSA-OAEP", A256GCM, privateKey(rsaEnc)}, {RSA_OAEP, "A256GCM", own}};
    for (const auto& encrypter : encrypters) {
        const auto token = encrypter.encryptJWT("m");
        EXPECT_EQ(headerText(token), R"({"alg":"RSA-OAEP","enc":"A256GCM","kid":"k"})");
        for (const auto& decrypter : decrypters) EXPECT_EQ(decrypter.decryptJWE(token), bytesOf("m"));
    }
}

TEST(JWEEncrypter, UsesANewKeyAndIVForEachMessage) {
    const JWEEncrypter encrypter("ECDH-ES", "A128GCM", publicKey(ecEncP256), std::nullopt);
    const auto message = asBytes("too long to be encrypted alike by chance");
    const auto first = parts(encrypter.encryptJWT(message)), second = parts(encrypter.encryptJWT(message));
    for (const std::size_t part : {0U, 2U, 3U, 4U}) EXPECT_NE(first.at(part), second.at(part)) << part;
}

TEST(JWEEncrypter, UsesDefaultsWithAKeyAlone) {
    const JWEEncrypter encrypter(publicJwk(rsaEnc, JWK_ENC));
    EXPECT_EQ(rawValue(encrypter.jweKeyManagementAlgorithm()), "RSA-OAEP-256");
    EXPECT_EQ(rawValue(encrypter.jweContentEncryptionAlgorithm()), "A128CBC-HS256");
    EXPECT_EQ(encrypter.keyId(), rsaEnc);
    EXPECT_EQ(encrypter.jwk()->keyId(), rsaEnc);
}

TEST(JWEEncrypter, TakesNoKeyIdFromAKeyWithAlgorithms) {
    const JWEEncrypter encrypter("RSA-OAEP", "A128GCM", publicJwk(rsaEnc, JWK_ENC), std::nullopt);
    EXPECT_EQ(encrypter.keyId(), std::nullopt);
    EXPECT_FALSE(encrypter.jwk());
    EXPECT_EQ(headerText(encrypter.encryptJWT("m")), R"({"alg":"RSA-OAEP","enc":"A128GCM"})");
}

TEST(JWEEncrypter, WrapsErrorsExceptThoseOfTheHeader) {
    const JWEEncrypter encrypter(publicJwk(rsaEnc, JWK_ENC));
    EXPECT_ERROR(encrypter.encryptJWT({}, StringMap{{"zip", "DEF"}}),
                 JOSESwiftError::parsingFailed("The header's \"zip\" asks for compression, which is not supported."));
    EXPECT_ERROR(encrypter.encryptJWT({}, StringMap{{"typ", "\xff"}}),
                 JOSESwiftError::parsingFailed("The header holds a value that is not JSON."));
    const JWEEncrypter agreeing("ECDH-ES", "A128GCM", publicKey(ecEncP256), std::nullopt);
    EXPECT_ERROR(
        agreeing.encryptJWT({}, StringMap{{"apu", "a="}}),
        JOSEError::JWEEncrypterError(wrapped(JOSESwiftError::parsingFailed("The header's \"apu\" is not base64url."))));
}

TEST(MovedFrom, JWEEncrypterEncrypts) {
    JWEEncrypter encrypter("RSA-OAEP", "A128GCM", publicKey(rsaEnc), "k");
    const auto token = movedFrom(encrypter).encryptJWT("m");
    EXPECT_EQ(headerText(token), R"({"alg":"RSA-OAEP","enc":"A128GCM","kid":"k"})");
    EXPECT_EQ(JWEDecrypter("RSA-OAEP", "A128GCM", privateKey(rsaEnc)).decryptJWE(token), bytesOf("m"));
}

TEST(MovedFrom, JWEDecrypterDecrypts) {
    JWEDecrypter decrypter("RSA-OAEP", "A128GCM", privateKey(rsaEnc));
    const auto token = JWEEncrypter("RSA-OAEP", "A128GCM", publicKey(rsaEnc), "k").encryptJWT("m");
    EXPECT_EQ(movedFrom(decrypter).decryptJWE(token), bytesOf("m"));
}

}  // namespace
