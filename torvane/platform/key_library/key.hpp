// Keys of the key library: a platform key handle or raw key bytes, with a type and a class.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

/// The key library: keys with a type and a class, and those on secp256k1, which are raw bytes.
namespace Torvane::Zennet {

using Torvane::KeyClass;

/// What kind of key it is. The three predefined types are what the library tells apart; others may be made to
/// describe further keys, with names that are string literals.
class TORVANE_EXPORT KeyType {
  public:
    /// EC on P-256; the library also takes it for keys on P-384 and P-521.
    static const KeyType EC256Key;
    /// RSA, whatever its size.
    static const KeyType RSA2048Key;
    /// EC on secp256k1, as raw bytes.
    static const KeyType SECP256K1Key;

    /// Keeps views of both texts: they have to outlive it.
    constexpr explicit KeyType(std::string_view name, std::optional<std::string_view> curve = std::nullopt) noexcept
        : name_(name), curve_(curve) {}

    /// For people and for comparison; in no JWK.
    constexpr std::string_view name() const noexcept { return name_; }
    /// The curve's name in a JWK; nothing for RSA.
    constexpr std::optional<std::string_view> curve() const noexcept { return curve_; }

    /// The same name and the same curve.
    friend constexpr bool operator==(const KeyType&, const KeyType&) = default;

  private:
    std::string_view name_;
    std::optional<std::string_view> curve_;
};

inline constexpr KeyType KeyType::EC256Key{"EC256", "P-256"};
inline constexpr KeyType KeyType::RSA2048Key{"RSA2048"};
inline constexpr KeyType KeyType::SECP256K1Key{"SECP256K1", "secp256k1"};

/// A public or private key: immutable, cheap to copy, and safe to use from several threads at once. Made as
/// one of the two classes below, which add nothing but the constructors.
class TORVANE_EXPORT Key {
  public:
    /// The platform key handle; nothing for a key that is raw bytes.
    const std::optional<SecKey>& keyRef() const noexcept { return state_->keyRef; }

    /// Nothing for a key that was made without one, which fits no lookup by type.
    const std::optional<KeyType>& keyType() const noexcept { return state_->keyType; }

    /// The raw bytes, valid as long as some copy of the key lives; nothing for a key in a key store.
    std::optional<ByteView> keyData() const noexcept {
        return state_->keyData ? std::optional<ByteView>(*state_->keyData) : std::nullopt;
    }

    /// Which of the two classes below it was made as.
    KeyClass keyClass() const noexcept { return state_->keyClass; }
    /// By its class; a platform key inside is not looked at.
    bool isPublicKey() const noexcept { return keyClass() == KeyClass::publicKey; }

    /// The public half; of a public key, itself.
    /// @throws SecurityError for raw bytes that are no secp256k1 private key.
    Key publicKey() const;

  protected:
    /// @{
    /// For the classes below.
    Key(KeyClass keyClass, SecKey key, std::optional<KeyType> keyType);
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

/// A key that others may have.
class PublicKey : public Key {
  public:
    /// A platform key; that it is a public one shows when it is used.
    PublicKey(SecKey key, std::optional<KeyType> keyType) : Key(KeyClass::publicKey, std::move(key), keyType) {}
    /// Raw bytes; for secp256k1 a point of 33 or 65 bytes (SEC 1, section 2.3.3). Copied, and wiped when they go.
    PublicKey(ByteView keyData, std::optional<KeyType> keyType) : Key(KeyClass::publicKey, keyData, keyType) {}
};

/// A key of one's own.
class PrivateKey : public Key {
  public:
    /// A platform key; that it is a private one shows when it is used.
    PrivateKey(SecKey key, std::optional<KeyType> keyType) : Key(KeyClass::privateKey, std::move(key), keyType) {}
    /// Raw bytes; for secp256k1 the 32 bytes of the scalar. Copied, and wiped when they go.
    PrivateKey(ByteView keyData, std::optional<KeyType> keyType) : Key(KeyClass::privateKey, keyData, keyType) {}
};

}  // namespace Torvane::Zennet
