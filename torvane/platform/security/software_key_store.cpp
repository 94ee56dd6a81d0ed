#include "torvane/platform/security/software_key_store.hpp"

#include <atomic>
#include <string>
#include <type_traits>
#include <utility>

#include "torvane/platform/crypto/asymmetric_key.hpp"
#include "torvane/platform/crypto/asymmetric_operations.hpp"
#include "torvane/platform/crypto/key_text.hpp"
#include "torvane/platform/security/sec_key_access.hpp"

namespace Platform {
namespace {

class SoftwareKey final : public StoreKey {
  public:
    SoftwareKey(Crypto::Pkey key, KeyName name) noexcept : key_(std::move(key)), name_(std::move(name)) {}

    KeyName name() const override { return name_; }

    PublicComponents publicComponents() const override { return Crypto::publicComponents(key_.get()); }

    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        auto signature = withKey([&](EVP_PKEY* key) { return Crypto::sign(key, scheme, hash, digest); });
        if (hasFailed_ && !Crypto::verify(key_.get(), scheme, hash, digest, signature)) {
            throw SecurityError("Failed to sign.");
        }
        return signature;
    }

    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const override {
        return withKey([&](EVP_PKEY* key) { return Crypto::decryptOaep(key, oaepHash, ciphertext); });
    }

    SecretBuffer agree(const SecKey& peer) const override {
        return withKey([&](EVP_PKEY* key) { return Crypto::agree(key, SecKeyAccess::publicPkey(peer)); });
    }

  private:
    // When memory runs out inside an operation, OpenSSL 3.0 may leave a broken blinding in an RSA key, which spoils
    // what is done with it later, or make an incomplete copy, both without a word. So after a failure each operation
    // has a new copy, and signatures are verified.
    template <class Operation>
    std::invoke_result_t<Operation, EVP_PKEY*> withKey(Operation operation) const {
        try {
            return hasFailed_ ? operation(Crypto::copyOf(key_.get()).get()) : operation(key_.get());
        } catch (const SecurityError&) {
            hasFailed_ = true;
            throw;
        }
    }

    Crypto::Pkey key_;
    KeyName name_;
    mutable std::atomic<bool> hasFailed_ = false;
};

SecKey held(Crypto::Pkey key, KeyName name = {}) {
    return SecKey(std::make_shared<const SoftwareKey>(std::move(key), std::move(name)));
}

SecKey checkedAndHeld(Crypto::Pkey key) {
    return held(Crypto::checkedPair(std::move(key)));
}

SecKey publicHalf(const Crypto::Pkey& key) {
    return SecKey(Crypto::publicComponents(key.get()));
}

std::string counted(std::size_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

[[noreturn]] void refuse(const Crypto::KeysRead& keys, KeyHalf half, std::string_view origin) {
    const std::string where(origin);
    if (keys.remainsEncrypted) {
        throw KeyStoreError::wrongSecret(keys.hadPassphrase ? "The passphrase does not decrypt " + where +
                                                                  ", or OpenSSL does not know its encryption."
                                                            : "A passphrase is needed for " + where + ".");
    }
    throw KeyStoreError::keyNotFound(std::string("One ") + (half == KeyHalf::privateHalf ? "private" : "public") +
                                     " key was looked for in " + where + "; there are " +
                                     counted(keys.privateKeys.size(), "private key") + ", " +
                                     counted(keys.publicKeys.size(), "public key") + " and " +
                                     counted(keys.certifiedKeys.size(), "certificate") + ".");
}

}  // namespace

SecKey SoftwareKeyStore::generateRSA(std::size_t modulusBits, KeyName name) {
    return held(Crypto::generateRSA(modulusBits), std::move(name));
}

SecKey SoftwareKeyStore::generateEC(EllipticCurve curve, KeyName name) {
    return held(Crypto::generateEC(curve), std::move(name));
}

SecKey SoftwareKeyStore::load(ByteView encoded) {
    auto keys = Crypto::readKeys(encoded, nullptr, {});
    if (!keys.privateKeys.empty()) return checkedAndHeld(std::move(keys.privateKeys.front()));
    if (!keys.publicKeys.empty()) return publicHalf(keys.publicKeys.front());
    throw SecurityError("No unencrypted key was found in the PEM or DER text.");
}

SecKey SoftwareKeyStore::load(ByteView encoded, KeyHalf half, const SecretSource& passphrase, std::string_view origin) {
    auto keys = Crypto::readKeys(encoded, passphrase, "the passphrase of " + std::string(origin));
    if (keys.privateKeys.size() == 1) {
        auto key = checkedAndHeld(std::move(keys.privateKeys.front()));
        return half == KeyHalf::privateHalf ? key : key.publicKey();
    }
    if (half == KeyHalf::publicHalf && keys.privateKeys.empty()) {
        if (keys.publicKeys.size() == 1) return publicHalf(keys.publicKeys.front());
        if (keys.publicKeys.empty() && !keys.certifiedKeys.empty()) return publicHalf(keys.certifiedKeys.front());
    }
    refuse(keys, half, origin);
}

SecKey SoftwareKeyStore::fromComponents(const RSAPrivateComponents& components) {
    return held(Crypto::privateKey(components));
}

SecKey SoftwareKeyStore::fromComponents(const ECPrivateComponents& components) {
    return held(Crypto::privateKey(components));
}

}  // namespace Platform
