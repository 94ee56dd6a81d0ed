#include "torvane/platform/zennet/key.hpp"

#include <utility>

#include "torvane/platform/crypto/secp256k1_curve.hpp"
#include "torvane/platform/error.hpp"

namespace Zennet {

namespace Curve = Platform::Crypto::Secp256k1;

Key::Key(KeyClass keyClass, Platform::SecKey key, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(State{keyClass, std::move(key), std::nullopt, keyType})) {}

Key::Key(KeyClass keyClass, Platform::ByteView keyData, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(
          State{keyClass, std::nullopt, Platform::SecretBuffer(keyData.begin(), keyData.end()), keyType})) {}

Key Key::publicKey() const {
    if (isPublicKey()) return *this;
    if (keyRef()) return PublicKey(keyRef()->publicKey(), keyType());
    if (keyType() != KeyType::SECP256K1Key || !Curve::isPrivateKey(*keyData())) {
        throw Platform::SecurityError("The raw bytes are no secp256k1 private key.");
    }
    return PublicKey(Curve::publicPointOf(*keyData()), keyType());
}

}  // namespace Zennet
