// Tests with a driver that behaves as some devices do and SoftHSM does not.
#include <atomic>
#include <dlfcn.h>
#include <p11-kit/pkcs11.h>
#include <thread>

#include <openssl/err.h>

#include "tests/platform/key_stores/pkcs11/device_testing.hpp"

namespace {

using namespace Testing;

std::string quirkyUri(const std::string& attributes) {
    return "pkcs11:token=app;" + attributes + "?module-path=" TORVANE_QUIRKY_DRIVER;
}

unsigned countQuirks() {
    static const auto count =
        reinterpret_cast<unsigned (*)()>(::dlsym(::dlopen(TORVANE_QUIRKY_DRIVER, RTLD_NOW), "countQuirks"));
    return count();
}

// Switches a quirk of the driver on for the length of a scope, in which it has to show.
class Quirk {
  public:
    explicit Quirk(const std::string& name) : before_(countQuirks()) { ::setenv("QUIRK", name.c_str(), 1); }
    ~Quirk() {
        EXPECT_GT(countQuirks(), before_) << ::getenv("QUIRK");
        ::unsetenv("QUIRK");
    }
    Quirk(const Quirk&) = delete;
    Quirk& operator=(const Quirk&) = delete;

  private:
    unsigned before_;
};

TEST(QuirkyDriver, DecryptsToTheSamePlaintext) {
    const SoftDevice device;
    device.import(rsaEnc, "decrypt", "01");
    for (const auto* name : {"finds out late", "drops zeros", "removed once"}) {
        const Quirk quirk(name);
        const auto key = openKey(quirkyUri("object=decrypt"), KeyClass::privateKey, pin);
        for (const auto hash : {SHA256, SHA512}) {
            const auto decrypted = key.decrypt(hash, key.encrypt(hash, digest));
            ASSERT_TRUE(decrypted) << name;
            EXPECT_EQ(asText(*decrypted), asText(digest));
        }
    }
}

// A device whose driver gives an error on decryption.
struct FailingDevice {
    FailingDevice() { device.import(rsaEnc, "decrypt", "01"); }
    std::optional<SecretBuffer> decryptWithError(CK_RV error) const {
        const auto key = openKey(quirkyUri("object=decrypt"), KeyClass::privateKey, pin);
        const auto ciphertext = key.encrypt(SHA256, digest);
        EXPECT_TRUE(key.decrypt(SHA256, ciphertext)) << "without the error";
        const Quirk quirk(std::to_string(error));
        return key.decrypt(SHA256, ciphertext);
    }
    SoftDevice device;
};

TEST(QuirkyDriver, ErrorsAboutThePaddingAreHidden) {
    const FailingDevice device;
    for (const auto error : {CKR_ENCRYPTED_DATA_INVALID, CKR_ENCRYPTED_DATA_LEN_RANGE, CKR_DATA_INVALID,
                             CKR_GENERAL_ERROR, CKR_FUNCTION_FAILED, CKR_DEVICE_ERROR, CKR_VENDOR_DEFINED}) {
        EXPECT_EQ(device.decryptWithError(error), std::nullopt) << error;
    }
}

TEST(QuirkyDriver, ErrorsAboutTheDeviceAreShown) {
    const FailingDevice device;
    const std::string failed = "Failed to decrypt with the PKCS #11 token \"app\": ";
    EXPECT_ERROR(device.decryptWithError(CKR_DEVICE_MEMORY),
                 KeyStoreError::operationFailed(failed + "Insufficient memory available on the device."));
    EXPECT_ERROR(device.decryptWithError(CKR_TOKEN_NOT_PRESENT),
                 KeyStoreError::unavailable(failed + "The device is not present or unplugged."));
}

TEST(DeviceConcurrency, ThreadsShareScarceSessions) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("two sessions");
    const Pkcs11KeyStore store(quirkyUri("object=sign"), pin);
    const auto key = store.key(KeyClass::privateKey);
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                right += key.verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest)) ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(right, 80);
    EXPECT_EQ(store.generateEC(EllipticCurve::P256, {"made", {}}).name().label, "made");
}

TEST(QuirkyDriver, ReadsABarePoint) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("bare point");
    EXPECT_EQ(openKey(quirkyUri("object=sign"), KeyClass::publicKey).publicComponents(),
              publicKey(ecP256).publicComponents());
}

TEST(QuirkyDriver, ImpossibleResultsAreErrors) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const std::pair<const char*, std::string> rows[] = {
        {"too many handles",
         "search for objects with the PKCS #11 token \"app\": The driver returned more objects than "
         "it was asked for."},
        {"endless search",
         "search for objects with the PKCS #11 token \"app\": The driver finds more than 10000 objects."},
        {"absurd size",
         "read an attribute with the PKCS #11 token \"app\": The driver has an attribute of more than 1 MiB."}};
    for (const auto& [name, error] : rows) {
        const Quirk quirk(name);
        EXPECT_ERROR(openKey(quirkyUri("object=sign"), KeyClass::publicKey),
                     KeyStoreError::operationFailed("Failed to " + error));
    }
}

TEST(QuirkyDriver, AnImpossibleNumberOfSlotsIsNotFollowed) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    {
        const Quirk quirk("absurd slots");
        EXPECT_ERROR(openKey(quirkyUri("object=sign"), KeyClass::publicKey),
                     KeyStoreError::unavailable(
                         "No PKCS #11 token matches \"pkcs11:token=app;object=sign\". Tokens present: none."));
    }
    const Quirk quirk("more slots later");
    EXPECT_EQ(openKey(quirkyUri("object=sign"), KeyClass::publicKey).publicComponents(),
              publicKey(ecP256).publicComponents());
}

TEST(QuirkyDriver, AMalformedPointLeavesNoErrorInOpenSSLsQueue) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("cut point");
    EXPECT_ERROR(openKey(quirkyUri("object=sign"), KeyClass::publicKey),
                 SecurityError("A platform key is an RSA key or an EC key on P-256, P-384 or P-521."));
    // SoftHSM leaves errors of its own, which are not about ASN.1.
    while (const auto error = ERR_get_error()) EXPECT_NE(ERR_GET_LIB(error), ERR_LIB_ASN1);
}

}  // namespace
