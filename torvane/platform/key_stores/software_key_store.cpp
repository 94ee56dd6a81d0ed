#include "torvane/platform/key_stores/software_key_store.hpp"

#include <atomic>
#include <string>
#include <type_traits>
#include <utility>

#include "torvane/platform/key_stores/internal/key_encoding.hpp"
#include "torvane/platform/key_stores/internal/software_key.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/asymmetric_operations.hpp"

namespace Torvane {
namespace {

class SoftwareKey final : public StoreKey {
  public:
    SoftwareKey(Crypto::Pkey key, KeyName name) noexcept : key_(std::move(key)), name_(std::move(name)) {}

    KeyName name() const override { return name_; }

    PublicComponents publicComponents() const override { return Crypto::readPublicComponents(key_.get()); }

    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        auto signature = withKey([&](const auto& key) { return Crypto::sign(key, scheme, hash, digest); });
        if (hasFailed_ && !Crypto::verify(key_, scheme, hash, digest, signature)) {
            throw SecurityError("Failed to sign.");
        }
        return signature;
    }

    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const override {
        return withKey([&](const auto& key) { return Crypto::decryptOaep(key, oaepHash, ciphertext); });
    }

    SecretBuffer agree(const SecKey& peer) const override {
        return withKey([&](const auto& key) { return Crypto::agree(key, SecKeyAccess::publicPkey(peer)); });
    }

  private:
    // When memory runs out inside an operation, OpenSSL 3.0 may leave a broken blinding in an RSA key, which spoils
    // later operations, or may make an incomplete copy of the key; it reports neither. So after a failure each
    // operation works on a new copy, and each signature is verified.
    template <class Operation>
    std::invoke_result_t<Operation, const Crypto::PreparedKey&> withKey(Operation operation) const {
        try {
            return hasFailed_ ? operation(Crypto::PreparedKey(Crypto::copyKey(key_.get()))) : operation(key_);
        } catch (const SecurityError&) {
            hasFailed_ = true;
            throw;
        }
    }

    Crypto::PreparedKey key_;
    KeyName name_;
    mutable std::atomic<bool> hasFailed_ = false;
};

SecKey makeHandle(Crypto::Pkey key, KeyName name = {}) {
    return SecKey(std::make_shared<const SoftwareKey>(std::move(key), std::move(name)));
}

}  // namespace

SecKey makeSoftwareKey(Crypto::Pkey key, KeyClass keyClass) {
    return keyClass == KeyClass::privateKey ? makeHandle(std::move(key))
                                            : SecKey(Crypto::readPublicComponents(key.get()));
}

SecKey SoftwareKeyStore::generateRSA(std::size_t modulusBits, KeyName name) {
    return makeHandle(Crypto::generateRSA(modulusBits), std::move(name));
}

SecKey SoftwareKeyStore::generateEC(EllipticCurve curve, KeyName name) {
    return makeHandle(Crypto::generateEC(curve), std::move(name));
}

SecKey SoftwareKeyStore::load(ByteView encoded, const Limits& limits) {
    auto keys = Crypto::readKeys(encoded, nullptr, {});
    const auto take = [&limits](Crypto::Pkey& key) { return Crypto::requireModulusWithin(limits, std::move(key)); };
    if (!keys.privateKeys.empty()) {
        return makeHandle(Crypto::requireConsistentPair(take(keys.privateKeys.front())));
    }
    if (!keys.publicKeys.empty()) return makeSoftwareKey(take(keys.publicKeys.front()), KeyClass::publicKey);
    throw SecurityError("No unencrypted key was found in the PEM or DER text.");
}

SecKey SoftwareKeyStore::load(ByteView encoded, KeyClass keyClass, const SecretSource& askForPassphrase,
                              std::string_view origin, const Limits& limits) {
    return makeSoftwareKey(Crypto::readKey(encoded, keyClass, askForPassphrase, origin, limits), keyClass);
}

SecKey SoftwareKeyStore::fromComponents(const RSAPrivateComponents& components) {
    return makeHandle(Crypto::makePrivateKey(components));
}

SecKey SoftwareKeyStore::fromComponents(const ECPrivateComponents& components) {
    return makeHandle(Crypto::makePrivateKey(components));
}

}  // namespace Torvane
