// Tests of wrong PINs, with a driver whose token locks after three of them.
#include <atomic>
#include <functional>
#include <optional>
#include <thread>

#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include "tests/platform/key_stores/pkcs11/quirky_device.hpp"

namespace {

using namespace Testing;

unsigned countWrongLogins() {
    return askDriver("countWrongLogins");
}

// A device that locks after three wrong PINs, and the PIN with which its stores log in.
struct DeviceWithThreeTries {
    DeviceWithThreeTries() {
        device.import(ecP256, "sign", "01");
        static_cast<void>(openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin));  // restores the tries
        EXPECT_EQ(countWrongLogins(), 0U);
        quirk.emplace("three tries");
    }
    Pkcs11KeyStore makeStore() {
        return Pkcs11KeyStore(quirkyUri("object=sign"), [this](std::string_view whose) {
            ++asked;
            return answering(answer)(whose);
        });
    }
    static SecKey open(const Pkcs11KeyStore& store) { return store.key(KeyClass::privateKey); }

    SoftDevice device;
    std::optional<Quirk> quirk;
    std::atomic<int> asked = 0;
    std::string answer = "4321";
};

KeyStoreError makeWrongPin() {
    return KeyStoreError::wrongSecret("The PIN of the PKCS #11 token \"app\" is wrong.");
}

KeyStoreError makeRejectedBefore() {
    return KeyStoreError::wrongSecret(
        "The PIN of the PKCS #11 token \"app\" is the one that was rejected before. It was not sent again.");
}

KeyStoreError makeLastTry() {
    return KeyStoreError::wrongSecret(
        "One wrong PIN would lock the PKCS #11 token \"app\": only the last try is left, which is not used without "
        "permission.");
}

TEST(PinTries, ARejectedPinIsNotSentAgain) {
    DeviceWithThreeTries device;
    const auto store = device.makeStore();
    EXPECT_ERROR(device.open(store), makeWrongPin());
    for (int call = 0; call < 5; ++call) EXPECT_ERROR(device.open(store), makeRejectedBefore());
    EXPECT_ERROR(store.generateEC(EllipticCurve::P256, {"made", {}}), makeRejectedBefore());
    EXPECT_EQ(countWrongLogins(), 1U);
    device.answer = "5678";
    EXPECT_ERROR(device.open(store), makeWrongPin());
    store.allowLastTry();
    for (const auto* answer : {"4321", "5678"}) {
        device.answer = answer;
        EXPECT_ERROR(device.open(store), makeRejectedBefore()) << "not even with permission";
    }
    EXPECT_EQ(countWrongLogins(), 2U);
    device.answer = "1234";
    EXPECT_EQ(device.open(store).publicComponents(), publicKey(ecP256).publicComponents());
}

TEST(DeviceConcurrency, EightThreadsSendARejectedPinOnce) {
    DeviceWithThreeTries device;
    const auto store = device.makeStore();
    std::atomic<int> rejections = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            try {
                static_cast<void>(device.open(store));
            } catch (const KeyStoreError& error) {
                rejections += error.errorCase() == KeyStoreError::Case::wrongSecret ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(rejections, 8);
    EXPECT_EQ(countWrongLogins(), 1U);
}

TEST(PinTries, ARejectedPinIsForgottenAfterALogin) {
    using namespace Torvane::PKCS11;
    DeviceWithThreeTries device;
    Token token(URI(quirkyUri("object=sign")), [&](std::string_view whose) { return answering(device.answer)(whose); });
    const auto logIn = [&] {
        return token.runInSession(Token::Login::needed,
                                  [](Session& session, unsigned) { return session.isLoggedIn(); });
    };
    EXPECT_ERROR(logIn(), makeWrongPin());
    EXPECT_ERROR(logIn(), makeRejectedBefore());
    device.answer = "1234";
    token.runInWritableSession([](Session& session, unsigned) {
        auto before = bytesOf("1234"), after = bytesOf("4321");
        session.call<&CK_FUNCTION_LIST::C_SetPIN>("change the PIN", before.data(), CK_ULONG{4}, after.data(),
                                                  CK_ULONG{4});
        session.call<&CK_FUNCTION_LIST::C_Logout>("log out");
    });
    device.answer = "4321";
    EXPECT_TRUE(logIn());
}

TEST(PinTries, ANewStoreSendsAPinThatAnotherStoreSent) {
    DeviceWithThreeTries device;
    EXPECT_ERROR(device.open(device.makeStore()), makeWrongPin());
    EXPECT_ERROR(device.open(device.makeStore()), makeWrongPin());
    EXPECT_EQ(countWrongLogins(), 2U);
}

TEST(PinTries, TheLastTryIsSpentOnlyWithPermission) {
    DeviceWithThreeTries device;
    const auto store = device.makeStore();
    store.allowLastTry();  // ends with the first wrong PIN
    for (const auto* answer : {"4321", "5678"}) {
        device.answer = answer;
        EXPECT_ERROR(device.open(store), makeWrongPin());
    }
    device.asked = 0;
    device.answer = "1234";
    for (const auto& refusing : {store, device.makeStore()}) EXPECT_ERROR(device.open(refusing), makeLastTry());
    EXPECT_EQ(device.asked, 0) << "no PIN is asked for that is not sent";
    EXPECT_EQ(countWrongLogins(), 2U);
    store.allowLastTry();
    EXPECT_EQ(device.open(store).publicComponents(), publicKey(ecP256).publicComponents());
}

TEST(PinTries, ALastTryThatIsWrongLocksThePin) {
    DeviceWithThreeTries device;
    const auto store = device.makeStore();
    for (const auto* answer : {"4321", "5678", "8765"}) {
        device.answer = answer;
        store.allowLastTry();
        EXPECT_ERROR(device.open(store), makeWrongPin());
    }
    device.answer = "1234";
    EXPECT_ERROR(device.open(store), KeyStoreError::wrongSecret("The PIN of the PKCS #11 token \"app\" is locked."));
}

TEST(PinTries, FunctionsWithAUriSpendTheLastTryOnlyWithPermission) {
    const std::function<void(LastPinTry)> functions[] = {
        [](auto lastTry) { (void)openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin, lastTry); },
        [](auto lastTry) { (void)Zennet::openKey(quirkyUri("object=sign"), KeyClass::privateKey, pin, lastTry); },
        [](auto lastTry) { generateRSAKeyAt(quirkyUri("object=rsa"), 2048, pin, lastTry); },
        [](auto lastTry) { generateECKeyAt(quirkyUri("object=ec"), EllipticCurve::P256, pin, lastTry); },
    };
    DeviceWithThreeTries device;
    for (const auto& function : functions) {
        for (int i = 0; i < 2; ++i) EXPECT_ERROR(device.open(device.makeStore()), makeWrongPin());
        EXPECT_ERROR(function(LastPinTry::keep), makeLastTry());
        EXPECT_ERROR(device.open(device.makeStore()), makeLastTry());
        EXPECT_NO_THROW(function(LastPinTry::spend));
    }
}

// While the user types, another process may send wrong PINs.
TEST(PinTries, ATryThatIsUsedUpDuringThePromptIsSeen) {
    DeviceWithThreeTries device;
    const auto other = device.makeStore();
    EXPECT_ERROR(device.open(other), makeWrongPin());
    const Pkcs11KeyStore store(quirkyUri("object=sign"), [&](std::string_view) {
        device.answer = "5678";
        EXPECT_ERROR(device.open(other), makeWrongPin());
        return SecretBuffer{'8', '7', '6', '5'};
    });
    EXPECT_ERROR(device.open(store), makeLastTry());
    EXPECT_EQ(countWrongLogins(), 2U);
}

}  // namespace
