#include "torvane/platform/key_library/key.hpp"

#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Zennet {

namespace Curve = Crypto::Secp256k1;

Key::Key(KeyClass keyClass, SecKey key, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(State{keyClass, std::move(key), std::nullopt, keyType})) {}

Key::Key(KeyClass keyClass, ByteView keyData, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(
          State{keyClass, std::nullopt, SecretBuffer(keyData.begin(), keyData.end()), keyType})) {}

Key Key::publicKey() const {
    if (isPublicKey()) return *this;
    if (keyRef()) return PublicKey(keyRef()->publicKey(), keyType());
    if (keyType() != KeyType::SECP256K1Key || !Curve::isPrivateKey(*keyData())) {
        throw SecurityError("The raw bytes are no secp256k1 private key.");
    }
    return PublicKey(Curve::derivePublicPoint(*keyData()), keyType());
}

}  // namespace Torvane::Zennet
