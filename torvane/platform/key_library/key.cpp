#include "torvane/platform/key_library/key.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/platform/key_stores/internal/public_key_text.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Zennet {

namespace Curve = Crypto::Secp256k1;

namespace {

// SubjectPublicKeyInfo in DER up to the point: id-ecPublicKey, the curve 1.3.132.0.10, and a BIT STRING of 65 bytes.
constexpr std::array<std::uint8_t, 23> secp256k1Prefix{0x30, 0x56, 0x30, 0x10, 0x06, 0x07, 0x2a, 0x86,
                                                       0x48, 0xce, 0x3d, 0x02, 0x01, 0x06, 0x05, 0x2b,
                                                       0x81, 0x04, 0x00, 0x0a, 0x03, 0x42, 0x00};

std::optional<Curve::Point> pointOf(const PublicKey& key) noexcept {
    return Secp256k1Utils::isSecp256k1Key(key) && key.keyData() ? Curve::parsePublicPoint(*key.keyData())
                                                                : std::nullopt;
}

}  // namespace

Key::Key(const SecKey& key)
    : Key(key.isPublicKey() ? KeyClass::publicKey : KeyClass::privateKey, key,
          key.curve() ? KeyType::EC256Key : KeyType::RSA2048Key) {}

Key::Key(KeyClass keyClass, const SecKey& key, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(State{keyClass, key, std::nullopt, keyType})) {}

Key::Key(KeyClass keyClass, ByteView keyData, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(
          State{keyClass, std::nullopt, SecretBuffer(keyData.begin(), keyData.end()), keyType})) {}

PublicKey Key::publicKey() const {
    if (isPublicKey()) return PublicKey(*this);
    if (keyRef()) return {keyRef()->publicKey(), keyType()};
    if (keyType() != KeyType::SECP256K1Key || !Curve::isPrivateKey(*keyData())) {
        throw SecurityError("The raw bytes are not a secp256k1 private key.");
    }
    return {Curve::derivePublicPoint(*keyData()), keyType()};
}

std::string Key::publicKeyPem() const {
    if (keyRef()) return keyRef()->publicKeyPem();
    const auto point = pointOf(publicKey());
    if (!point) throw SecurityError("The raw bytes are not a secp256k1 public key.");
    ByteBuffer der(secp256k1Prefix.begin(), secp256k1Prefix.end());
    der.insert(der.end(), point->begin(), point->end());
    return Crypto::publicKeyPem(der);
}

bool operator==(const PublicKey& a, const PublicKey& b) {
    if (a.keyRef() && b.keyRef()) return a.keyRef()->publicComponents() == b.keyRef()->publicComponents();
    if (a.keyRef() || b.keyRef()) return false;
    if (const auto pointOfA = pointOf(a)) return pointOfA == pointOf(b);
    return a.keyType() == b.keyType() && std::ranges::equal(*a.keyData(), *b.keyData());
}

}  // namespace Torvane::Zennet
