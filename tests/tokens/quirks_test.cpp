// Against a driver with the habits of tokens that SoftHSM does not have.
#include <atomic>
#include <p11-kit/pkcs11.h>
#include <thread>

#include "torvane/platform/security/key_uri.hpp"
#include "torvane/platform/security/pkcs11_key_store.hpp"

#include "tests/testing/soft_token.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Platform;
using namespace Testing;
using enum KeyHalf;
using enum HashFunction;
using enum SignatureScheme;

const auto pin = answering("1234");
const ByteBuffer plaintext(32, 7);

std::string quirkyUri(const std::string& attributes) {
    return "pkcs11:token=app;" + attributes + "?module-path=" TORVANE_QUIRKY_DRIVER;
}

class Quirk {
  public:
    explicit Quirk(const char* name, const char* variable = "QUIRK") : variable_(variable) {
        ::setenv(variable, name, 1);
    }
    ~Quirk() { ::unsetenv(variable_); }
    Quirk(const Quirk&) = delete;
    Quirk& operator=(const Quirk&) = delete;

  private:
    const char* variable_;
};

TEST(Quirks, OfDecryptionAreMadeUpFor) {
    const SoftToken token;
    token.import(rsaEnc, "decrypt", "01");
    for (const auto* name : {"finds out late", "drops zeros", "removed once"}) {
        const Quirk quirk(name);
        const auto key = openKey(quirkyUri("object=decrypt"), privateHalf, pin);
        for (const auto hash : {SHA256, SHA512}) {
            const auto decrypted = key.decrypt(hash, key.encrypt(hash, plaintext));
            ASSERT_TRUE(decrypted) << name;
            EXPECT_EQ(asText(*decrypted), asText(plaintext));
        }
    }
}

TEST(Quirks, InWordsForAWrongPaddingAreNotRepeatedAndThoseAboutTheTokenAre) {
    const SoftToken token;
    token.import(rsaEnc, "decrypt", "01");
    const auto key = openKey(quirkyUri("object=decrypt"), privateHalf, pin);
    const auto ciphertext = key.encrypt(SHA256, plaintext);
    for (const auto word : {CKR_ENCRYPTED_DATA_INVALID, CKR_ENCRYPTED_DATA_LEN_RANGE, CKR_DATA_INVALID,
                            CKR_GENERAL_ERROR, CKR_FUNCTION_FAILED, CKR_DEVICE_ERROR, CKR_VENDOR_DEFINED}) {
        const Quirk quirk(std::to_string(word).c_str(), "QUIRK_WORD");
        EXPECT_EQ(key.decrypt(SHA256, ciphertext), std::nullopt) << word;
    }
    const auto failed = [](const char* why) {
        return "Failed to decrypt with the token \"app\": " + std::string(why) + ".";
    };
    {
        const Quirk quirk(std::to_string(CKR_DEVICE_MEMORY).c_str(), "QUIRK_WORD");
        EXPECT_ERROR(key.decrypt(SHA256, ciphertext),
                     KeyStoreError::operationFailed(failed("Insufficient memory available on the device")));
    }
    {
        const Quirk quirk(std::to_string(CKR_TOKEN_NOT_PRESENT).c_str(), "QUIRK_WORD");
        EXPECT_ERROR(key.decrypt(SHA256, ciphertext),
                     KeyStoreError::unavailable(failed("The device is not present or unplugged")));
    }
    EXPECT_TRUE(key.decrypt(SHA256, ciphertext));
}

TEST(Quirks, OfFewSessionsMakeThreadsWaitAndKeysAreStillMade) {
    const SoftToken token;
    token.import(ecP256, "sign", "01");
    const Quirk quirk("two sessions");
    const Pkcs11KeyStore store(quirkyUri("object=sign"), pin);
    const auto key = store.key(privateHalf);
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round)
                right += key.verify(ECDSA, SHA256, plaintext, key.sign(ECDSA, SHA256, plaintext)) ? 1 : 0;
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(right, 80);
    EXPECT_EQ(store.generateEC(EllipticCurve::P256, {"made", {}}).name().label, "made");
}

TEST(Quirks, OfABarePointMakeNoOtherKey) {
    const SoftToken token;
    token.import(ecP256, "sign", "01");
    const Quirk quirk("bare point");
    EXPECT_EQ(openKey(quirkyUri("object=sign"), publicHalf).publicComponents(), publicKey(ecP256).publicComponents());
}

}  // namespace
