#include "torvane/platform/security/software_key_store.hpp"

#include <atomic>
#include <utility>

#include "torvane/platform/crypto/asymmetric_key.hpp"
#include "torvane/platform/crypto/asymmetric_operations.hpp"
#include "torvane/platform/security/sec_key_access.hpp"

namespace Platform {
namespace {

class SoftwareKey final : public StoreKey {
  public:
    explicit SoftwareKey(Crypto::Pkey key) noexcept : key_(std::move(key)) {}

    PublicComponents publicComponents() const override { return Crypto::publicComponents(key_.get()); }

    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        try {
            auto signature = Crypto::sign(key_.get(), scheme, hash, digest);
            if (!hasFailed_ || Crypto::verify(key_.get(), scheme, hash, digest, signature)) return signature;
        } catch (...) {
            hasFailed_ = true;
            throw;
        }
        throw SecurityError("Failed to sign.");
    }

    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const override {
        auto plaintext = Crypto::decryptOaep(key_.get(), oaepHash, ciphertext);
        if (!plaintext) hasFailed_ = true;
        return plaintext;
    }

    SecretBuffer agree(const SecKey& peer) const override {
        return Crypto::agree(key_.get(), SecKeyAccess::publicPkey(peer));
    }

  private:
    Crypto::Pkey key_;
    // A failure inside OpenSSL 3.0 may leave a key's blinding broken, for some 32 operations. From the first one on
    // every signature is checked before it leaves.
    mutable std::atomic<bool> hasFailed_ = false;
};

SecKey held(Crypto::Pkey key) {
    return SecKey(std::make_shared<const SoftwareKey>(std::move(key)));
}

}  // namespace

SecKey SoftwareKeyStore::generateRSA(std::size_t modulusBits) {
    return held(Crypto::generateRSA(modulusBits));
}

SecKey SoftwareKeyStore::generateEC(EllipticCurve curve) {
    return held(Crypto::generateEC(curve));
}

SecKey SoftwareKeyStore::load(ByteView encoded) {
    auto loaded = Crypto::load(encoded);
    if (loaded.isPrivate) return held(std::move(loaded.key));
    return SecKey(Crypto::publicComponents(loaded.key.get()));
}

SecKey SoftwareKeyStore::fromComponents(const RSAPrivateComponents& components) {
    return held(Crypto::privateKey(components));
}

SecKey SoftwareKeyStore::fromComponents(const ECPrivateComponents& components) {
    return held(Crypto::privateKey(components));
}

}  // namespace Platform
