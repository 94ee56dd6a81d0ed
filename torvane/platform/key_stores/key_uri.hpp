// Keys by URI: in a file, or in a token.
//
//     auto ask = [](std::string_view whose) { return askOnTheTerminal(whose); };
//     auto signing = Torvane::openKey("pkcs11:token=app;object=sign", Torvane::KeyClass::privateKey, ask);
//     auto theirs = Torvane::openKey("/etc/app/peer.pem", Torvane::KeyClass::publicKey);
//
// A URI with "module-path" loads and runs the library that it names, and a file is opened wherever it is: take URIs
// from whoever configures the application, never from a peer.
#pragma once

#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// Whether a key URI names a key in a token; any other names a file.
TORVANE_EXPORT bool isPkcs11URI(std::string_view uri) noexcept;

/// Opens one half of the key that the URI names:
/// - "pkcs11:" (RFC 7512), a key in a token. The path attributes name the token (token, manufacturer, serial, model,
///   slot-id, library-...) and the key (object, id, type); of the query, module-path or module-name names the driver,
///   without which all that are registered on the machine are looked through, and pin-source (a file) or pin-value
///   gives the PIN. Each call opens a store of its own: for several keys of one token, and to keep its sessions, make a
///   Pkcs11KeyStore.
/// - "file:" (RFC 8089), or a path as it is: PEM, DER or PKCS #12, encrypted or not, of at most 1 MiB, as
///   SoftwareKeyStore::load() reads it.
/// The public half may come from a public key, a certificate or a private key.
/// @throws KeyStoreError, see its cases; SecurityError for a key that is neither RSA nor EC on P-256, P-384 or P-521,
///         or for one in a file whose halves don't match.
TORVANE_EXPORT SecKey openKey(std::string_view uri, KeyClass keyClass, const SecretSource& secret = {});

/// Makes an RSA key pair where the URI says: in a token, as Pkcs11KeyStore::generateRSA() does, under the label and id
/// of the URI's "object" and "id"; or as a new PEM file that its owner alone may read (PKCS #8), encrypted with AES-256
/// if the source gives a passphrase.
/// @throws KeyStoreError, also when there is such a key or file; SecurityError for a size that cannot be.
TORVANE_EXPORT SecKey generateRSAKeyAt(std::string_view uri, std::size_t modulusBits, const SecretSource& secret = {});

/// The same for an EC key pair.
TORVANE_EXPORT SecKey generateECKeyAt(std::string_view uri, EllipticCurve curve, const SecretSource& secret = {});

}  // namespace Torvane
