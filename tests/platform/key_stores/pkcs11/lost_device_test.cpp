#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/platform/key_stores/pkcs11/device_testing.hpp"

namespace {

using namespace Testing;

// Calls onRound(thread number) `rounds` times in each of eight threads.
template <class OnRound>
void runInEightThreads(int rounds, const OnRound& onRound) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < rounds; ++round) onRound(i);
        });
    }
    for (auto& thread : threads) thread.join();
}

TEST(DeviceConcurrency, OneStoreServesEightThreads) {
    const SoftDevice device;
    device.import(rsaEnc, "decrypt", "01");
    device.import(ecP256, "sign", "02");
    std::atomic<int> asked = 0, right = 0;
    const Pkcs11KeyStore store(device.uri(), [&](std::string_view whose) { return ++asked, pin(whose); });
    const auto decrypting = store.key({"decrypt", {}}, KeyClass::privateKey),
               signing = store.key({"sign", {}}, KeyClass::privateKey);
    const auto ciphertext = decrypting.encrypt(SHA256, digest);
    runInEightThreads(5, [&](int) {
        if (signing.verify(ECDSA, SHA256, digest, signing.sign(ECDSA, SHA256, digest))) ++right;
        const auto plaintext = decrypting.decrypt(SHA256, ciphertext);
        if (plaintext && asText(*plaintext) == asText(digest)) ++right;
        if (store.key({"sign", {}}, KeyClass::publicKey).publicComponents() == signing.publicComponents()) ++right;
    });
    EXPECT_EQ(right, 8 * 5 * 3);
    EXPECT_EQ(asked, 1);
}

TEST(DeviceConcurrency, ThreadsSurviveTheRemovalOfTheDevice) {
    const SoftDevice device;
    device.import(rsaSig, "sign", "01");
    const Pkcs11KeyStore store(device.uri(), pin);
    const auto key = store.key({"sign", {}}, KeyClass::privateKey);
    std::atomic<int> signatures = 0, unavailable = 0, others = 0;
    std::atomic<bool> isOver = false;
    std::thread remover([&] {
        const auto begin = std::chrono::steady_clock::now();
        const auto until = [&](const std::atomic<int>& count, int least) {
            while (count < least && std::chrono::steady_clock::now() - begin < std::chrono::seconds(60)) {
                std::this_thread::yield();
            }
        };
        until(signatures, 20);
        device.takeOut();
        until(unavailable, 20);
        device.putBack();
        until(signatures, signatures + 20);
        isOver = true;
    });
    runInEightThreads(1, [&](int) {
        while (!isOver) {
            try {
                if (key.verify(RSA_PSS, SHA256, digest, key.sign(RSA_PSS, SHA256, digest))) ++signatures;
            } catch (const KeyStoreError& error) {
                ++(error.errorCase() == KeyStoreError::Case::unavailable ? unavailable : others);
            }
        }
    });
    remover.join();
    EXPECT_EQ(others, 0);
    EXPECT_GE(unavailable, 20);
    EXPECT_TRUE(key.verify(RSA_PSS, SHA256, digest, key.sign(RSA_PSS, SHA256, digest)));
}

TEST(LostDevice, IsNamedInTheError) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Pkcs11KeyStore store(device.uri(), pin);
    const auto key = store.key({"sign", {}}, KeyClass::privateKey);
    device.takeOut();
    for (int call = 0; call < 2; ++call) {
        EXPECT_ERROR(
            key.sign(ECDSA, SHA256, digest),
            KeyStoreError::unavailable("No PKCS #11 token matches \"pkcs11:token=app\". Tokens present: none."));
    }
    device.putBack();
    EXPECT_TRUE(key.verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest)));
}

TEST(LostDevice, ADifferentKeyOfTheSameNameIsNotUsed) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const Pkcs11KeyStore store(device.uri(), pin);
    const auto key = store.key({"sign", {}}, KeyClass::privateKey);
    device.takeOut();
    run("softhsm2-util --init-token --free --label app --pin 1234 --so-pin 12345678");
    const auto missing = KeyStoreError::keyNotFound(
        R"(There is no private key named "sign" with id 01 in the PKCS #11 token "app"; private keys there: none.)");
    EXPECT_ERROR(key.sign(ECDSA, SHA256, digest), missing);
    device.import(ecEncP256, "sign", "01");
    EXPECT_ERROR(key.sign(ECDSA, SHA256, digest),
                 KeyStoreError::keyNotFound(
                     "A different key now has the name of the opened key in the PKCS #11 token \"app\"."));
    device.putBack();
    EXPECT_TRUE(key.verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest)));
}

TEST(LostDevice, IsFoundAgainBesideAnIdleStore) {
    const SoftDevice device;
    device.import(ecP256, "a", "01");
    device.import(ecEncP256, "b", "02");
    const auto a = openKey(device.uri("object=a"), KeyClass::privateKey, pin),
               b = openKey(device.uri("object=b"), KeyClass::privateKey, pin);
    device.takeOut();
    EXPECT_ERROR(
        a.sign(ECDSA, SHA256, digest),
        KeyStoreError::unavailable("No PKCS #11 token matches \"pkcs11:token=app;object=a\". Tokens present: none."));
    device.putBack();
    for (const auto& key : {a, b}) EXPECT_TRUE(key.verify(ECDSA, SHA256, digest, key.sign(ECDSA, SHA256, digest)));
}

TEST(LostDevice, IsFoundAgainAfterItsSocketCloses) {
    ::signal(SIGPIPE, SIG_IGN);
    const SoftDevice device;
    device.import(rsaEnc, "decrypt", "01");
    DeviceServer server(device);
    int asked = 0;
    const auto key = openKey(DeviceServer::uri("object=decrypt"), KeyClass::privateKey,
                             [&](std::string_view whose) { return ++asked, pin(whose); });
    const auto ciphertext = key.encrypt(SHA256, digest);
    EXPECT_TRUE(key.decrypt(SHA256, ciphertext));
    server.stop();
    EXPECT_ERROR(key.decrypt(SHA256, ciphertext),
                 KeyStoreError::unavailable(
                     "No PKCS #11 token matches \"pkcs11:token=app;object=decrypt\". Tokens present: none."));
    server.start();
    EXPECT_EQ(asText(key.decrypt(SHA256, ciphertext).value()), asText(digest));
    EXPECT_EQ(asked, 2) << "not for a device that is gone";
}

}  // namespace
