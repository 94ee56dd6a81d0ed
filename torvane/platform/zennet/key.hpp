// Keys of the key library: a platform key handle or raw key bytes, with a type and a class.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace Zennet {

enum class TORVANE_EXPORT KeyClass { publicKey, privateKey };

/// What kind of key it is. The three predefined types are what the library tells apart; others may be made to
/// describe further keys, with names that are string literals.
class TORVANE_EXPORT KeyType {
  public:
    static const KeyType EC256Key;
    static const KeyType RSA2048Key;
    static const KeyType SECP256K1Key;

    constexpr explicit KeyType(std::string_view name, std::optional<std::string_view> curve = std::nullopt) noexcept
        : name_(name), curve_(curve) {}

    constexpr std::string_view name() const noexcept { return name_; }
    /// The curve's name in a JWK; nothing for RSA.
    constexpr std::optional<std::string_view> curve() const noexcept { return curve_; }

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
    const std::optional<Platform::SecKey>& keyRef() const noexcept { return state_->keyRef; }

    const std::optional<KeyType>& keyType() const noexcept { return state_->keyType; }

    /// The raw bytes, valid as long as some copy of the key lives; nothing for a key in a key store.
    std::optional<Platform::ByteView> keyData() const noexcept {
        return state_->keyData ? std::optional<Platform::ByteView>(*state_->keyData) : std::nullopt;
    }

    KeyClass keyClass() const noexcept { return state_->keyClass; }
    bool isPublicKey() const noexcept { return keyClass() == KeyClass::publicKey; }

    /// The public half; of a public key, itself.
    /// @throws Platform::SecurityError for raw bytes that are no secp256k1 private key.
    Key publicKey() const;

  protected:
    Key(KeyClass keyClass, Platform::SecKey key, std::optional<KeyType> keyType);
    Key(KeyClass keyClass, Platform::ByteView keyData, std::optional<KeyType> keyType);

  private:
    struct State {
        KeyClass keyClass;
        std::optional<Platform::SecKey> keyRef;
        std::optional<Platform::SecretBuffer> keyData;
        std::optional<KeyType> keyType;
    };

    std::shared_ptr<const State> state_;
};

class PublicKey : public Key {
  public:
    PublicKey(Platform::SecKey key, std::optional<KeyType> keyType)
        : Key(KeyClass::publicKey, std::move(key), keyType) {}
    /// Raw bytes; for secp256k1 a point of 33 or 65 bytes (SEC 1, section 2.3.3). Copied, and wiped when they go.
    PublicKey(Platform::ByteView keyData, std::optional<KeyType> keyType)
        : Key(KeyClass::publicKey, keyData, keyType) {}
};

class PrivateKey : public Key {
  public:
    PrivateKey(Platform::SecKey key, std::optional<KeyType> keyType)
        : Key(KeyClass::privateKey, std::move(key), keyType) {}
    /// Raw bytes; for secp256k1 the 32 bytes of the scalar. Copied, and wiped when they go.
    PrivateKey(Platform::ByteView keyData, std::optional<KeyType> keyType)
        : Key(KeyClass::privateKey, keyData, keyType) {}
};

}  // namespace Zennet
