// SecKey, the platform key: a handle to a key whose private half, where it has one, stays in a key store.
//
//     Torvane::SecKey privateKey = Torvane::SoftwareKeyStore::generateRSA(2048);
//     Torvane::SecKey publicKey = privateKey.publicKey();
//
// Handles are cheap to copy and safe to use from several threads at once.
#pragma once

#include <memory>
#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane {

class SecKey;

/// A private key in a key store: what it can do, never what it is made of. A store of your own is one class
/// that derives from this and overrides what its keys can do; every operation not overridden throws SecurityError.
///
/// All operations are const and may be called from several threads at once. When the store cannot answer they throw a
/// KeyStoreError: unavailable when the token or service is gone, wrongSecret, notSupported, and so on. Other exceptions
/// pass as well. docs/key-stores.md is the whole contract.
class TORVANE_EXPORT StoreKey {
  public:
    StoreKey() = default;
    virtual ~StoreKey() = default;
    StoreKey(const StoreKey&) = delete;
    StoreKey& operator=(const StoreKey&) = delete;

    /// The numbers of the public half, with or without leading zero bytes in those of RSA. Asked for when a SecKey
    /// is made.
    virtual PublicComponents publicComponents() const = 0;

    /// What the key is called in its store, where it has a name there. Asked for when a SecKey is made.
    virtual KeyName name() const { return {}; }

    /// Signs a digest of digestSize(hash) bytes with a scheme of the key's family. An RSA signature is as long as the
    /// modulus; an ECDSA signature is r and s side by side, each coordinateSize(curve) bytes (RFC 7518, section 3.4).
    virtual ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const;

    /// Decrypts RSAES-OAEP with an empty label and MGF1 over the same hash (RFC 8017, section 7.1.2). A
    /// ciphertext that does not decrypt under this key, of whatever length, gives nothing and does not throw: whoever
    /// could tell why would have a padding oracle.
    virtual std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const;

    /// ECDH with a public key on the same curve: the x coordinate of the shared point, coordinateSize(curve)
    /// bytes. The peer's point has been checked to lie on the curve.
    virtual SecretBuffer agree(const SecKey& peer) const;
};

/// A public key, or the handle of a private key in some store. A handle never shows a private number.
class TORVANE_EXPORT SecKey {
  public:
    /// A public key from its numbers; leading zero bytes of an RSA number are dropped.
    /// @throws SecurityError for an even modulus or exponent, a point off its curve, coordinates of a wrong size.
    explicit SecKey(PublicComponents components, KeyName name = {});

    /// A private key in a store.
    /// @throws SecurityError as above for the store's public numbers, and whatever the store throws.
    explicit SecKey(std::shared_ptr<const StoreKey> storeKey);

    /// False for a key that a store stands behind.
    bool isPublicKey() const noexcept;
    /// Of the public half, which every key has; valid as long as some copy of the key lives.
    const PublicComponents& publicComponents() const noexcept;
    /// What the key is called in its store; empty where it has no name.
    const KeyName& name() const noexcept;
    /// The curve, or nothing for an RSA key.
    std::optional<EllipticCurve> curve() const noexcept;

    /// Length in bytes of every signature by this key: of the modulus, or of two coordinates.
    std::size_t signatureSize() const noexcept;

    /// The public half; of a public key, itself.
    SecKey publicKey() const;

    /// @{
    /// A private operation: as that of StoreKey, and SecurityError on a public key, on one of the other family, for a
    /// digest of another length, and when a store's answer has the wrong length.
    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const;
    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const;
    SecretBuffer agree(const SecKey& peer) const;
    /// @}

    // Public operations, on either half.

    /// Checks a signature over a digest, in the forms that sign() gives. False for any that is not
    /// valid, and for a scheme of the other key family.
    bool verify(SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature) const;
    /// RSAES-OAEP with an empty label; the result is as long as the modulus.
    /// @throws SecurityError for a plaintext longer than the modulus size - 2 * digestSize - 2, or an EC key.
    ByteBuffer encrypt(HashFunction oaepHash, ByteView plaintext) const;

  private:
    friend struct SecKeyAccess;
    struct State;
    explicit SecKey(std::shared_ptr<const State> state) noexcept;

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
