// Keys of any kind by URI: those of the platform, and secp256k1 keys, which are raw bytes.
//
//     auto key = Zennet::openKey("sign.pem", Zennet::KeyClass::privateKey, askForPassphrase);
//     Torvane::JsonWebKey jwk(key.publicKey(), Torvane::JWKUse::JWK_SIG, "2026");
//
// Platform::openKey() says what a URI may name, and whom to take one from.
#pragma once

#include <string_view>

#include "torvane/platform/primitives.hpp"
#include "torvane/platform/zennet/key.hpp"

namespace Zennet {

/// Opens one half of the key that the URI names: as Platform::openKey() does an RSA key (of type RSA2048Key, whatever
/// its size) or an EC key (of type EC256Key, whatever its curve), and a secp256k1 key, which is to be had from a file
/// only.
/// @throws as Platform::openKey().
TORVANE_EXPORT Key openKey(std::string_view uri, KeyClass keyClass, const Platform::SecretSource& secret = {});

/// Makes a secp256k1 key pair as a new PEM file, as Platform::generateECKey() makes one, and returns the private key.
/// @throws Platform::KeyStoreError, also when there is such a file; notSupported for a key in a token.
TORVANE_EXPORT PrivateKey generateSecp256k1Key(std::string_view uri, const Platform::SecretSource& secret = {});

}  // namespace Zennet
