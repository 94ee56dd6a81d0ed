#include "torvane/platform/key_library/key.hpp"

#include <algorithm>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/platform/key_stores/internal/key_encoding.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Zennet {

namespace Secp256k1 = Crypto::Secp256k1;

namespace {

std::optional<Secp256k1::Point> findPoint(const PublicKey& key) noexcept {
    return Secp256k1Utils::isSecp256k1Key(key) && key.keyData() ? Secp256k1::parsePublicPoint(*key.keyData())
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
    if (Secp256k1Utils::isSecp256k1Key(*this)) Secp256k1::requireSupport();
    if (keyType() != KeyType::SECP256K1Key || !Secp256k1::isPrivateKey(*keyData())) {
        throw SecurityError("The raw bytes are not a secp256k1 private key.");
    }
    return {Secp256k1::derivePublicPoint(*keyData()), keyType()};
}

std::string Key::publicKeyPem() const {
    if (keyRef()) return keyRef()->publicKeyPem();
    if (Secp256k1Utils::isSecp256k1Key(*this)) Secp256k1::requireSupport();
    const auto point = findPoint(publicKey());
    if (!point) throw SecurityError("The raw bytes are not a secp256k1 public key.");
    return Crypto::writePublicKeyPem(Crypto::makeSecp256k1PublicKey(*point).get());
}

bool operator==(const PublicKey& a, const PublicKey& b) {
    if (a.keyRef() && b.keyRef()) return a.keyRef()->publicComponents() == b.keyRef()->publicComponents();
    if (a.keyRef() || b.keyRef()) return false;
    if (const auto pointOfA = findPoint(a)) return pointOfA == findPoint(b);
    return a.keyType() == b.keyType() && std::ranges::equal(*a.keyData(), *b.keyData());
}

}  // namespace Torvane::Zennet
