// Keys of any kind by URI: those of the platform, and secp256k1 keys, which are raw bytes.
//
//     auto key = Torvane::Zennet::openKey("sign.pem", Torvane::Zennet::KeyClass::privateKey, askForPassphrase);
//     Torvane::JsonWebKey jwk(key.publicKey(), Torvane::JWKUse::JWK_SIG, "2026");
//
// Torvane::openKey() says what a URI may name, and whom to take one from.
#pragma once

#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane::Zennet {

/// Opens one half of the key that the URI names: as Torvane::openKey() does an RSA key (of type RSA2048Key, whatever
/// its size) or an EC key (of type EC256Key, whatever its curve), and a secp256k1 key, which is to be had from a file
/// only.
/// @throws as Torvane::openKey().
TORVANE_EXPORT Key openKey(std::string_view uri, KeyClass keyClass, const SecretSource& secret = {});

/// Makes a secp256k1 key pair as a new PEM file, as generateECKeyAt() makes one, and returns the private key.
/// @throws KeyStoreError, also when there is such a file; notSupported for a key in a token.
TORVANE_EXPORT PrivateKey generateSecp256k1KeyAt(std::string_view uri, const SecretSource& secret = {});

}  // namespace Torvane::Zennet
