// Keys of every kind by URI: platform keys, and secp256k1 keys, which are raw bytes.
//
//     const auto key = Torvane::Zennet::openKey("sign.pem", Torvane::KeyClass::privateKey);
//     const Torvane::JsonWebKey published(key.publicKey(), Torvane::JWKUse::JWK_SIG, "2026");
//
// The warning of key_stores/key_uri.hpp holds here too: take URIs from whoever configures the application.
#pragma once

#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane::Zennet {

/// Opens the public or the private key of the pair that a URI names. Safe to call from several threads at once.
///
/// An RSA or EC key is opened as by Torvane::openKey(), and has the type RSA2048Key, whatever its size, or EC256Key,
/// whatever its curve. A secp256k1 key comes from a file only; it is raw bytes of the type SECP256K1Key.
///
/// @param uri a "pkcs11:" or "file:" URI, or a path; Torvane::openKey() says what it may name.
/// @param keyClass which key of the pair to return.
/// @param askForSecret called when a passphrase or PIN is needed that the URI does not give; may be empty.
/// @param lastPinTry as for Torvane::openKey().
/// @param limits as for Torvane::openKey().
/// @throws KeyStoreError and SecurityError as Torvane::openKey(), and whatever `askForSecret` throws.
[[nodiscard]] TORVANE_EXPORT Key openKey(std::string_view uri, KeyClass keyClass, const SecretSource& askForSecret = {},
                                         LastPinTry lastPinTry = LastPinTry::keep, const Limits& limits = {});

/// Makes a secp256k1 key pair as a new PEM file in PKCS #8 (RFC 5958) that only its owner may read, and returns the
/// private key. A file that exists already is never replaced.
/// @param uri a "file:" URI or a path.
/// @param askForSecret gives the passphrase of the new file, as for generateECKeyAt(); without one it is not encrypted.
/// @throws KeyStoreError invalidURI for a malformed URI; unavailable when the file exists or cannot be written;
///         notSupported for a "pkcs11:" URI, and in a build without secp256k1 or files. Whatever `askForSecret` throws.
///         After an error there is no new file.
TORVANE_EXPORT PrivateKey generateSecp256k1KeyAt(std::string_view uri, const SecretSource& askForSecret = {});

}  // namespace Torvane::Zennet
