// Keys of the key library: a platform key or raw bytes, with a type and a class.
//
//     const Torvane::Zennet::Key key(Torvane::SoftwareKeyStore::generateRSA());
//     const std::string pem = key.publicKeyPem();
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

/// The key library: keys with a type and a class, among them secp256k1 keys, which are raw bytes.
namespace Torvane::Zennet {

using Torvane::KeyClass;

/// The type of a key. The library tells three predefined types apart; an application may make others for keys of its
/// own, with names that are string literals.
class TORVANE_EXPORT KeyType {
  public:
    /// EC on P-256; the library also uses it for keys on P-384 and P-521.
    static const KeyType EC256Key;
    /// RSA of any size.
    static const KeyType RSA2048Key;
    /// EC on secp256k1, as raw bytes.
    static const KeyType SECP256K1Key;

    /// Keeps views of both texts, which have to outlive the type.
    constexpr explicit KeyType(std::string_view name, std::optional<std::string_view> curve = std::nullopt) noexcept
        : name_(name), curve_(curve) {}

    /// For people and for comparison; it does not appear in any JWK.
    [[nodiscard]] constexpr std::string_view name() const noexcept { return name_; }
    /// The curve that the type is named after, "P-256" or "secp256k1"; nothing for RSA. It is "P-256" for EC256Key,
    /// also where the key is on P-384 or P-521.
    [[nodiscard]] constexpr std::optional<std::string_view> curve() const noexcept { return curve_; }

    /// Compares name and curve.
    friend constexpr bool operator==(const KeyType&, const KeyType&) = default;

  private:
    std::string_view name_;
    std::optional<std::string_view> curve_;
};

inline constexpr KeyType KeyType::EC256Key{"EC256", "P-256"};
inline constexpr KeyType KeyType::RSA2048Key{"RSA2048"};
inline constexpr KeyType KeyType::SECP256K1Key{"SECP256K1", "secp256k1"};

class PublicKey;

/// A public or private key: a platform key, or raw bytes.
///
/// Immutable, cheap to copy, and safe to use from several threads at once. It has no move operations, so no key is ever
/// left empty.
class TORVANE_EXPORT Key {
  public:
    /// A platform key. Class and type are those of the handle: RSA2048Key for an RSA key of any size, EC256Key for an
    /// EC key on any curve. Use PublicKey or PrivateKey to give another type, or none.
    explicit Key(const SecKey& key);

    /// @{
    /// A copy shares the key.
    Key(const Key&) noexcept = default;
    Key& operator=(const Key&) noexcept = default;
    ~Key() = default;
    /// @}

    /// The platform key; nothing for raw bytes.
    [[nodiscard]] const std::optional<SecKey>& keyRef() const noexcept { return state_->keyRef; }

    /// The type; nothing for a key that was made without one, which no lookup by type finds.
    [[nodiscard]] const std::optional<KeyType>& keyType() const noexcept { return state_->keyType; }

    /// The raw bytes, valid as long as some copy of the key lives; nothing for a platform key. Those of a private key
    /// are a secret.
    [[nodiscard]] std::optional<ByteView> keyData() const noexcept {
        return state_->keyData ? std::optional<ByteView>(*state_->keyData) : std::nullopt;
    }

    /// The class that the key was made with.
    [[nodiscard]] KeyClass keyClass() const noexcept { return state_->keyClass; }
    /// Whether the class is publicKey; a platform key that contradicts its class is not detected.
    [[nodiscard]] bool isPublicKey() const noexcept { return keyClass() == KeyClass::publicKey; }

    /// The public key of a private key, with the same type; of a public key, the key itself.
    /// @throws SecurityError for raw bytes that are not a secp256k1 private key.
    [[nodiscard]] PublicKey publicKey() const;

    /// The public key as PEM text: "-----BEGIN PUBLIC KEY-----" and the SubjectPublicKeyInfo in lines of 64 characters
    /// (RFC 7468, section 13), for secp256k1 with the point in uncompressed form (RFC 5480, section 2).
    /// @throws SecurityError for raw bytes that are not a secp256k1 key.
    [[nodiscard]] std::string publicKeyPem() const;

  protected:
    /// @{
    /// For the classes below.
    Key(KeyClass keyClass, const SecKey& key, std::optional<KeyType> keyType);
    Key(KeyClass keyClass, ByteView keyData, std::optional<KeyType> keyType);
    /// @}

  private:
    struct State {
        KeyClass keyClass;
        std::optional<SecKey> keyRef;
        std::optional<SecretBuffer> keyData;
        std::optional<KeyType> keyType;
    };

    std::shared_ptr<const State> state_;
};

/// A public key.
class PublicKey : public Key {
  public:
    /// A platform key; whether it is a public one is checked when it is used.
    PublicKey(const SecKey& key, std::optional<KeyType> keyType) : Key(KeyClass::publicKey, key, keyType) {}
    /// Raw bytes, which are copied; for secp256k1 a point of 33 or 65 bytes (SEC 1, section 2.3.3), which is checked
    /// when it is used.
    PublicKey(ByteView keyData, std::optional<KeyType> keyType) : Key(KeyClass::publicKey, keyData, keyType) {}

    /// Whether both are the same public key. The types of platform keys and the forms of a secp256k1 point do not
    /// matter; other raw bytes are compared byte for byte, with their types.
    friend TORVANE_EXPORT bool operator==(const PublicKey& a, const PublicKey& b);

  private:
    friend class Key;
    explicit PublicKey(const Key& key) noexcept : Key(key) {}
};

/// A private key.
class PrivateKey : public Key {
  public:
    /// A platform key; whether it is a private one is checked when it is used.
    PrivateKey(const SecKey& key, std::optional<KeyType> keyType) : Key(KeyClass::privateKey, key, keyType) {}
    /// Raw bytes, which are copied and wiped with the last copy of the key; for secp256k1 the 32 bytes of the scalar.
    PrivateKey(ByteView keyData, std::optional<KeyType> keyType) : Key(KeyClass::privateKey, keyData, keyType) {}
};

}  // namespace Torvane::Zennet
