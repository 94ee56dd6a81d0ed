// Fuzz target of the answers of a PKCS #11 driver. In the first byte of the input, bits 0 and 1 select the key, bit 2
// generates another, bit 3 allows the last try, and bits 4 to 7 say which prompts are answered with a wrong PIN. The
// rest says where the driver lies (hostile_driver.hpp). The library throws its own errors, or returns valid keys and
// results of the right size. It shows no PIN and wastes none. A store works again after a driver that failed, but did
// not lie.
#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <functional>
#include <optional>
#include <regex>

#include <openssl/err.h>

#include "torvane/platform/key_stores/pkcs11_key_store.hpp"

#include "fuzz/hostile_driver.hpp"
#include "tests/testing/keys.hpp"
#include "tests/testing/oracle.hpp"

namespace {

using namespace Testing;
using enum HashFunction;
using enum SignatureScheme;

const std::string uri =
    "pkcs11:token=app?module-path=" + std::regex_replace(TORVANE_DRIVER_MODULE, std::regex(" "), "%20");
// How all PINs begin.
const std::string secret = "SECRET0";
const ByteBuffer digest(32, 7);

void* installDriver() {
    void* const module = ::dlopen(TORVANE_DRIVER_MODULE, RTLD_NOW);
    require(module != nullptr, "the module can be loaded");
    reinterpret_cast<void (*)(CK_FUNCTION_LIST*)>(::dlsym(module, "setFunctions"))(driverFunctions());
    return module;
}

// Asks for PINs: wrong ones where `wrong` has a bit.
struct Prompt {
    std::optional<SecretBuffer> operator()(std::string_view whose) {
        require(whose.find(secret) == whose.npos, "a prompt shows no PIN");
        const auto text = (wrong & 1U) != 0 ? secret + "wrong" : std::string(HostileDriver::pin);
        wrong >>= 1U;
        return SecretBuffer(text.begin(), text.end());
    }
    unsigned wrong;
};

template <class Code>
void attempt(Code code) {
    const auto text = errorTextOf(code);
    require(text.find(secret) == text.npos, "an error shows no PIN: " + text);
    require(driver.fault.empty(), "PINs are not wasted: " + driver.fault);
    require(ERR_peek_error() == 0, "OpenSSL's queue is empty");
}

void checkPublicKey(const SecKey& key) {
    static const auto honestKeys = {publicKey(ecP256).publicComponents(), publicKey(rsaEnc).publicComponents()};
    if (std::ranges::find(honestKeys, key.publicComponents()) != honestKeys.end()) return;
    require(SoftwareKeyStore::load(key.publicKeyPem()).publicComponents() == key.publicComponents(), "a key is valid");
}

// With an honest driver, all results are right.
void useKey(const SecKey& key, bool isHonest) {
    static const auto peer = publicKey(ecEncP256);
    static const auto agreed = privateKey(ecP256).agree(peer);
    static const auto ciphertext = publicKey(rsaEnc).encrypt(SHA256, digest);
    const auto run = [isHonest](const auto& use) {
        if (isHonest) return use();
        attempt(use);
    };
    for (const auto scheme : {ECDSA, RSA_PSS, RSA_PKCS1}) {
        if (key.curve().has_value() != (scheme == ECDSA)) continue;
        run([&] {
            const auto signature = key.sign(scheme, SHA256, digest);
            require(signature.size() == key.signatureSize(), "a signature has the size of all signatures");
            require(!isHonest || key.verify(scheme, SHA256, digest, signature), "a signature is valid");
        });
    }
    run([&] {
        if (key.curve()) {
            const auto result = key.agree(peer);
            require(result.size() == coordinateSize(*key.curve()), "a shared secret has the size of a coordinate");
            require(result == agreed || !isHonest, "a shared secret is right");
        } else {
            const auto result = key.decrypt(SHA256, ciphertext);
            require(!result || result->size() <= key.signatureSize(), "a plaintext is shorter than the modulus");
            require(!isHonest || (result && asText(*result) == asText(digest)), "a plaintext is right");
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static void* const module = installDriver();
    if (size == 0 || asText(ByteView(data, size)).find(secret) != std::string_view::npos) return 0;
    const auto choice = data[0];
    driver = HostileDriver(ByteView(data + 1, size - 1));
    ERR_clear_error();
    const KeyName name{std::array{"ec", "rsa", "certified", "ec"}[choice % 4], {}};
    {
        Prompt prompt{choice / 16U};
        std::optional<Pkcs11KeyStore> store;
        attempt([&] { store.emplace(uri, std::ref(prompt)); });
        if (!store) {
            driver.becomeHonest();
            driver.hasLied = false;
            store.emplace(uri, std::ref(prompt));
        }
        if ((choice & 8U) != 0) {
            driver.mayUseLastTry = true;
            store->allowLastTry();
        }
        std::optional<SecKey> opened;
        attempt([&] { checkPublicKey(store->key(name, KeyClass::publicKey)); });
        attempt([&] { checkPublicKey(opened.emplace(store->key(name, KeyClass::privateKey))); });
        if (opened) useKey(*opened, false);
        if ((choice & 4U) != 0) attempt([&] { checkPublicKey(store->generateEC(EllipticCurve::P256, {"new", {}})); });

        require(driver.sessions.size() <= 1, "one operation at a time leaves one session open");
        driver.becomeHonest();
        prompt.wrong = 0;
        if (!driver.hasLied) useKey(opened ? *opened : store->key(name, KeyClass::privateKey), true);
    }
    require(driver.fault.empty(), driver.fault);
    require(driver.sessions.empty(), "all sessions are closed");
    return 0;
}
