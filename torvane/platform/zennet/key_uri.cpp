#include "torvane/platform/zennet/key_uri.hpp"

#include <utility>

#include "torvane/platform/crypto/asymmetric_key.hpp"
#include "torvane/platform/error.hpp"
#include "torvane/platform/security/key_file_access.hpp"
#include "torvane/platform/security/key_uri.hpp"
#include "torvane/platform/security/sec_key_access.hpp"

namespace Zennet {
namespace {

using Platform::KeyHalf;
namespace Crypto = Platform::Crypto;

Key platformKey(Platform::SecKey key, KeyClass keyClass) {
    const auto type = key.curve() ? KeyType::EC256Key : KeyType::RSA2048Key;
    if (keyClass == KeyClass::publicKey) return PublicKey(std::move(key), type);
    return PrivateKey(std::move(key), type);
}

}  // namespace

Key openKey(std::string_view uri, KeyClass keyClass, const Platform::SecretSource& secret) {
    const auto half = keyClass == KeyClass::publicKey ? KeyHalf::publicHalf : KeyHalf::privateHalf;
    if (Platform::namesToken(uri)) return platformKey(Platform::openKey(uri, half, secret), keyClass);
    auto key = Platform::keyOfFile(uri, half, secret);
    if (!Crypto::isSecp256k1(key.get())) return platformKey(Platform::softwareKey(std::move(key), half), keyClass);
    if (keyClass == KeyClass::publicKey) return PublicKey(Crypto::secp256k1Point(key.get()), KeyType::SECP256K1Key);
    return PrivateKey(Crypto::secp256k1Scalar(key.get()), KeyType::SECP256K1Key);
}

PrivateKey generateSecp256k1Key(std::string_view uri, const Platform::SecretSource& secret) {
    if (Platform::namesToken(uri)) {
        throw Platform::KeyStoreError::notSupported("A secp256k1 key cannot be made in a token.");
    }
    const auto key = Platform::keyIntoFile(uri, Crypto::generateSecp256k1(), secret);
    return {Crypto::secp256k1Scalar(key.get()), KeyType::SECP256K1Key};
}

}  // namespace Zennet
