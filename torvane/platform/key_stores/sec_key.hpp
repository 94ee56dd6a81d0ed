// SecKey, the platform key: a handle to a public key, or to a private key that stays in its key store.
//
//     Torvane::SecKey privateKey = Torvane::SoftwareKeyStore::generateRSA(2048);
//     Torvane::SecKey publicKey = privateKey.publicKey();
//     std::string pem = publicKey.publicKeyPem();
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane {

class SecKey;

/// Interface of a private key in a key store. For a store of your own, derive one class from this and override the
/// operations that its keys have; the others throw SecurityError.
///
/// All operations are const and may be called from several threads at once. An operation throws a KeyStoreError when
/// the store cannot answer: unavailable when the device or service is gone, wrongSecret, notSupported, and so on. Other
/// exceptions reach the caller too. docs/key-stores.md is the whole contract.
class TORVANE_EXPORT StoreKey {
  public:
    StoreKey() = default;
    virtual ~StoreKey() = default;
    StoreKey(const StoreKey&) = delete;
    StoreKey& operator=(const StoreKey&) = delete;

    /// The components of the public key. Leading zero bytes of RSA components are allowed. Called once for each SecKey
    /// that is made.
    [[nodiscard]] virtual PublicComponents publicComponents() const = 0;

    /// The name of the key in its store; empty unless overridden. Called once for each SecKey that is made.
    [[nodiscard]] virtual KeyName name() const { return {}; }

    /// Signs a digest of digestSize(hash) bytes with a scheme of the key's family. An RSA signature is as long as the
    /// modulus; an ECDSA signature is r and s concatenated, coordinateSize(curve) bytes each (RFC 7518, section 3.4).
    [[nodiscard]] virtual ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const;

    /// Decrypts RSAES-OAEP with an empty label and MGF1 over the same hash (RFC 8017, section 7.1.2). Returns nothing,
    /// and does not throw, for every ciphertext that does not decrypt under this key, of whatever length: a caller who
    /// could tell the reasons apart would have a padding oracle.
    [[nodiscard]] virtual std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const;

    /// The ECDH shared secret with a public key on the same curve: the x coordinate of the shared point,
    /// coordinateSize(curve) bytes. The library has checked that the peer's point is on the curve.
    [[nodiscard]] virtual SecretBuffer agree(const SecKey& peer) const;
};

/// Handle to a public key, or to a private key in some store. It never gives out a private value.
///
/// Immutable, cheap to copy, and safe to use from several threads at once. It has no move operations, so no handle is
/// ever left empty.
class TORVANE_EXPORT SecKey {
  public:
    /// A public key.
    /// @param components RSA: leading zero bytes are dropped. EC: coordinates of exactly coordinateSize(curve) bytes.
    /// @param name the name that name() returns.
    /// @throws SecurityError for an even modulus or exponent, a point that is not on its curve, or a coordinate of
    ///         another length.
    explicit SecKey(PublicComponents components, KeyName name = {});

    /// A private key in a store. The pointer must not be null.
    /// @throws SecurityError as SecKey(components) for the store's public components, and whatever the store throws.
    explicit SecKey(std::shared_ptr<const StoreKey> storeKey);

    /// @{
    /// A copy shares the key.
    SecKey(const SecKey&) noexcept = default;
    SecKey& operator=(const SecKey&) noexcept = default;
    ~SecKey() = default;
    /// @}

    /// True for a public key, false for a private key in a store.
    [[nodiscard]] bool isPublicKey() const noexcept;
    /// The components of the public key, which a private key has too; valid as long as some copy of the handle lives.
    [[nodiscard]] const PublicComponents& publicComponents() const noexcept;
    /// The name of the key in its store; empty for a key without one.
    [[nodiscard]] const KeyName& name() const noexcept;
    /// The curve of an EC key; nothing for an RSA key.
    [[nodiscard]] std::optional<EllipticCurve> curve() const noexcept;

    /// Size in bytes of every signature of this key: that of the modulus, or of two coordinates.
    [[nodiscard]] std::size_t signatureSize() const noexcept;

    /// The public key of a private key; of a public key, the key itself.
    [[nodiscard]] SecKey publicKey() const;

    /// The public key as PEM text: "-----BEGIN PUBLIC KEY-----" and the SubjectPublicKeyInfo in lines of 64 characters
    /// (RFC 7468, section 13).
    [[nodiscard]] std::string publicKeyPem() const;

    // Private operations.

    /// @{
    /// Calls the function of the same name in the StoreKey.
    /// @throws SecurityError for a public key, a key of another family, a peer's key on another curve, a digest of
    ///         another size than digestSize(hash), a signature with SHA1, and a signature or shared secret of the wrong
    ///         length from the store; and whatever the store throws.
    [[nodiscard]] ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const;
    [[nodiscard]] std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const;
    [[nodiscard]] SecretBuffer agree(const SecKey& peer) const;
    /// @}

    // Public operations, which a private key has too.

    /// Verifies a signature over a digest, in the form that sign() returns. False for an invalid signature, for a
    /// scheme of another key family, and for SHA1.
    [[nodiscard]] bool verify(SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature) const;
    /// Encrypts by RSAES-OAEP with an empty label (RFC 8017, section 7.1.1); the result is as long as the modulus.
    /// @throws SecurityError for a plaintext longer than the modulus size - 2 * digestSize - 2, or an EC key.
    [[nodiscard]] ByteBuffer encrypt(HashFunction oaepHash, ByteView plaintext) const;

  private:
    friend struct SecKeyAccess;
    struct State;
    TORVANE_NO_EXPORT explicit SecKey(std::shared_ptr<const State> state) noexcept;

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
