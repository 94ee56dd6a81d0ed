// Tests with a driver that behaves as some devices do and SoftHSM does not.
#include <atomic>
#include <optional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <openssl/err.h>

#include "tests/platform/key_stores/pkcs11/quirky_device.hpp"

namespace {

using namespace Testing;
using namespace std::string_literals;

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
        const Quirk quirk("C_Decrypt " + std::to_string(error));
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
    EXPECT_ERROR(device.decryptWithError(CKR_HOST_MEMORY),
                 KeyStoreError::operationFailed(failed + "Insufficient memory available."));
    EXPECT_ERROR(device.decryptWithError(CKR_FUNCTION_CANCELED),
                 KeyStoreError::operationFailed(failed + "The operation was cancelled."));
    EXPECT_ERROR(device.decryptWithError(CKR_TOKEN_NOT_PRESENT),
                 KeyStoreError::unavailable(failed + "The device is not present or unplugged."));
}

TEST(DeviceConcurrency, ThreadsShareScarceSessions) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("two sessions");
    const Pkcs11KeyStore store(quirkyUri("object=sign"), pin);
    const auto key = store.key(KeyClass::privateKey);
    std::atomic<int> made = 0, right = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            // On a busy machine it takes a while until three threads sign at once.
            for (int round = 0; round < 10 || (!quirk.isShown() && round < 10'000); ++round) {
                ++made;
                right += key.verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest)) ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(right, made);
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

TEST(QuirkyDriver, AKeyIsNotFoundAmongMoreThanCanBeListed) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("many objects");
    EXPECT_ERROR(openKey(quirkyUri("object=sing"), KeyClass::publicKey),
                 KeyStoreError::keyNotFound("There is no public key named \"sing\" in the PKCS #11 token \"app\"."));
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

TEST(QuirkyDriver, ErrorsOfADriverAreNamed) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const std::string app = "the PKCS #11 token \"app\"";
    const std::tuple<std::string, CK_RV, KeyStoreError> rows[] = {
        {"C_Initialize", CKR_GENERAL_ERROR,
         KeyStoreError::unavailable("The PKCS #11 driver " + debugQuoted(TORVANE_QUIRKY_DRIVER) +
                                    " cannot be started: Internal error.")},
        {"C_GetSlotInfo", CKR_DEVICE_REMOVED,
         KeyStoreError::unavailable(
             "No PKCS #11 token matches \"pkcs11:token=app;object=sign\". Tokens present: none.")},
        {"C_OpenSession", CKR_DEVICE_REMOVED,
         KeyStoreError::unavailable("Failed to open a session with " + app + ": The device was removed or unplugged.")},
        {"C_OpenSession", CKR_GENERAL_ERROR,
         KeyStoreError::operationFailed("Failed to open a session with " + app + ": Internal error.")},
        {"C_FindObjects", CKR_GENERAL_ERROR,
         KeyStoreError::operationFailed("Failed to search for objects with " + app + ": Internal error.")},
        {"C_GetAttributeValue", CKR_GENERAL_ERROR,
         KeyStoreError::operationFailed("Failed to read an attribute with " + app + ": Internal error.")},
        {"C_Login", CKR_PIN_INVALID, KeyStoreError::wrongSecret("The PIN of " + app + " is wrong.")},
        {"C_Login", CKR_PIN_LEN_RANGE, KeyStoreError::wrongSecret("The PIN of " + app + " is wrong.")},
        {"C_Login", CKR_FUNCTION_CANCELED, KeyStoreError::wrongSecret("No PIN was entered for " + app + ".")},
        {"C_Login", CKR_PIN_EXPIRED, KeyStoreError::wrongSecret("The PIN of " + app + " has expired.")},
        {"C_Login", CKR_USER_PIN_NOT_INITIALIZED,
         KeyStoreError::wrongSecret("No PIN has been set for " + app + " yet.")},
        {"C_Login", CKR_GENERAL_ERROR,
         KeyStoreError::operationFailed("Failed to log in with " + app + ": Internal error.")},
    };
    for (const auto& [function, code, error] : rows) {
        const Quirk quirk(function + " " + std::to_string(code));
        EXPECT_ERROR(openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin), error) << function << " " << code;
    }
    const auto key = openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin);
    const Quirk quirk("C_DeriveKey " + std::to_string(CKR_GENERAL_ERROR));
    EXPECT_ERROR(key.agree(publicKey(ecEncP256)),
                 KeyStoreError::operationFailed("Failed to agree on a secret with " + app + ": Internal error."));
}

TEST(QuirkyDriver, GetsOnlyAsMuchOfADigestAsItSigns) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const auto key = openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin);
    const Quirk quirk("no long digests");
    const ByteBuffer longDigest(64, 7);
    EXPECT_TRUE(publicKey(ecP256).verify(ECDSA, SHA512, longDigest, key.sign(ECDSA, SHA512, longDigest)));
}

TEST(QuirkyDriver, NoPinIsAskedForIfNoneIsNeeded) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Quirk quirk("no login");
    bool isAsked = false;
    const auto ask = [&](std::string_view whose) { return isAsked = true, pin(whose); };
    EXPECT_ERROR(openKey(quirkyUri("object=sign"), KeyClass::privateKey, ask),
                 KeyStoreError::keyNotFound("There is no private key named \"sign\" in the PKCS #11 token \"app\"; "
                                            "private keys there: none."));
    EXPECT_FALSE(isAsked);
}

TEST(QuirkyDriver, GeneratedKeysLeaveNoSessionsOpen) {
    const SoftDevice device;
    const Pkcs11KeyStore store(quirkyUri("object=made"), pin);
    static_cast<void>(store.generateEC(EllipticCurve::P256, {"made0", {}}));
    const auto before = askDriver("countSessions");
    for (const auto* name : {"made1", "made2", "made3"}) {
        static_cast<void>(store.generateEC(EllipticCurve::P256, {name, {}}));
    }
    EXPECT_EQ(askDriver("countSessions"), before);
}

TEST(QuirkyDriver, ItsLossLeavesTheTokensOfOtherDriversConnected) {
    const SoftDevice device;
    device.import(rsaEnc, "key", "01");
    const DeviceServer server(device);
    int asked = 0;
    const auto other = openKey(DeviceServer::uri("object=key"), KeyClass::privateKey,
                               [&](std::string_view whose) { return ++asked, pin(whose); });
    const auto key = openKey(quirkyUri("object=key"), KeyClass::privateKey, pin);
    const auto ciphertext = key.encrypt(SHA256, digest);
    {
        const Quirk quirk("C_Decrypt " + std::to_string(CKR_DEVICE_REMOVED));
        EXPECT_ERROR(key.decrypt(SHA256, ciphertext),
                     KeyStoreError::unavailable("Failed to decrypt with the PKCS #11 token \"app\": "
                                                "The device was removed or unplugged."));
    }
    EXPECT_TRUE(other.decrypt(SHA256, ciphertext));
    EXPECT_EQ(asked, 1);
}

// The child has no thread that would return the session of the decryption.
TEST(QuirkyDriver, AChildProcessRecoversFromALossWhileItsParentDecrypts) {
    const SoftDevice device;
    device.import(rsaEnc, "decrypt", "01");
    const auto key = openKey(quirkyUri("object=decrypt"), KeyClass::privateKey, pin);
    const auto ciphertext = key.encrypt(SHA256, digest);
    const auto before = countQuirks();
    ::setenv("QUIRK", "waits", 1);
    std::thread decrypting([&] { EXPECT_TRUE(key.decrypt(SHA256, ciphertext)); });
    while (countQuirks() == before) std::this_thread::yield();
    const auto child = ::fork();
    if (child == 0) {
        ::alarm(30);
        ::setenv("QUIRK", ("C_Decrypt " + std::to_string(CKR_DEVICE_REMOVED)).c_str(), 1);
        const bool isLost = THROWN_BY(key.decrypt(SHA256, ciphertext)) != nullptr;
        ::unsetenv("QUIRK");
        ::_exit(isLost && key.decrypt(SHA256, ciphertext) ? 0 : 1);
    }
    ::unsetenv("QUIRK");
    askDriver("releaseDecryption");
    decrypting.join();
    ASSERT_NE(child, -1);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(QuirkyDriver, OpensAKeyInAnUnusualState) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    for (const auto& name : {"replaced once"s, "C_Login " + std::to_string(CKR_USER_ALREADY_LOGGED_IN)}) {
        const Quirk quirk(name);
        const auto key = openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin);
        EXPECT_TRUE(publicKey(ecP256).verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest))) << name;
    }
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
