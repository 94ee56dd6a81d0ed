#include "torvane/platform/key_library/open_key.hpp"

#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/key_file.hpp"
#include "torvane/platform/key_stores/internal/software_key.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Zennet {

Key openKey(std::string_view uri, KeyClass keyClass, const SecretSource& askForSecret, LastPinTry lastPinTry,
            const Limits& limits) {
    if (isPkcs11URI(uri)) return Key(Torvane::openKey(uri, keyClass, askForSecret, lastPinTry, limits));
    auto key = readKeyFile(uri, keyClass, askForSecret, limits);
    if (!Crypto::isSecp256k1(key.get())) return Key(makeSoftwareKey(std::move(key), keyClass));
    Crypto::Secp256k1::requireSupport();
    if (keyClass == KeyClass::publicKey) return PublicKey(Crypto::readSecp256k1Point(key.get()), KeyType::SECP256K1Key);
    return PrivateKey(Crypto::readSecp256k1Scalar(key.get()), KeyType::SECP256K1Key);
}

PrivateKey generateSecp256k1KeyAt(std::string_view uri, const SecretSource& askForSecret) {
    if (isPkcs11URI(uri)) {
        throw KeyStoreError::notSupported("A secp256k1 key cannot be made in a PKCS #11 token.");
    }
    Crypto::Secp256k1::requireSupport();
    const auto key = writeKeyFile(uri, Crypto::generateSecp256k1(), askForSecret);
    return {Crypto::readSecp256k1Scalar(key.get()), KeyType::SECP256K1Key};
}

}  // namespace Torvane::Zennet
