// Keys by URI: in a file, or in a PKCS #11 token.
//
//     auto ask = [](std::string_view) -> std::optional<Torvane::SecretBuffer> { return std::nullopt; };
//     auto signing = Torvane::openKey("pkcs11:token=app;object=sign", Torvane::KeyClass::privateKey, ask);
//     auto theirs = Torvane::openKey("/etc/app/peer.pem", Torvane::KeyClass::publicKey);
//
// Take URIs from whoever configures the application, never from a peer: "module-path" loads and runs a library, and a
// file URI opens any file that the process may read.
#pragma once

#include <cstddef>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// Whether a key URI names a key in a PKCS #11 token (RFC 7512). Every other text names a file.
[[nodiscard]] TORVANE_EXPORT bool isPkcs11URI(std::string_view uri) noexcept;

/// A key URI, a path or another argument before anything that may be a PIN, for errors and logs: cut at the first "?",
/// at the "=" or "%3D" after a name with "pin" in it, percent-encoded or not, and where the text contains "pkcs11", in
/// upper or lower case, also at the first ";" and "&". A view of the argument.
[[nodiscard]] TORVANE_EXPORT std::string_view cutPin(std::string_view text TORVANE_LIFETIMEBOUND) noexcept;

/// Opens the public or the private key of the pair that a URI names. Safe to call from several threads at once.
///
/// A "pkcs11:" URI (RFC 7512) names a key in a PKCS #11 token. Its path attributes choose the token (token,
/// manufacturer, serial, model, slot-id, library-...) and the key (object, id, type). In its query, module-path or
/// module-name chooses the driver (the PKCS #11 module); without it, all registered drivers of the machine are tried;
/// pin-source (a file) or pin-value gives the PIN. White space in values is percent-encoded, a space as %20. Each call
/// opens a store of its own: for several keys of one token, make a Pkcs11KeyStore.
///
/// A "file:" URI (RFC 8089), or any other text as a path, names a file of at most 1 MiB with one key pair in PEM, DER
/// or PKCS #12, encrypted or not, as SoftwareKeyStore::load() reads it. The public key may come from a public key, a
/// certificate or a private key.
///
/// @param uri the URI or path.
/// @param keyClass which key of the pair to return.
/// @param askForSecret called when a passphrase or PIN is needed that the URI does not give; may be empty. For a
///        "pkcs11:" URI it is kept as long as the returned private key lives, to log in again.
/// @param lastPinTry whether the first PIN may be the last try, as by Pkcs11KeyStore::allowLastTry().
/// @param limits rsaBits and keyDerivationIterations of a file.
/// @throws KeyStoreError invalidURI for a malformed URI, or one whose "type" rules out the requested key (a public key
///         may also come from "type=private"); unavailable when the file, driver or PKCS #11 token cannot be opened;
///         keyNotFound when no key fits, or more than one; wrongSecret when the passphrase or PIN is missing, wrong or
///         locked; notSupported for a "pkcs11:" URI in a build without PKCS #11, for any other URI and for "pin-source"
///         in a build without files, and for a file that takes more than keyDerivationIterations to decrypt;
///         operationFailed for another failure of the driver. SecurityError for a key that is neither RSA nor EC on
///         P-256, P-384 or P-521, or EC with explicit parameters or a point in hybrid form, or, in a file, a private
///         key that does not belong to the public key beside it, or an RSA key of more than rsaBits. Whatever
///         `askForSecret` throws.
[[nodiscard]] TORVANE_EXPORT SecKey openKey(std::string_view uri, KeyClass keyClass,
                                            const SecretSource& askForSecret = {},
                                            LastPinTry lastPinTry = LastPinTry::keep, const Limits& limits = {});

/// Makes an RSA key pair at a URI, and returns the private key. Safe to call from several threads at once.
///
/// In a PKCS #11 token the key is made as by Pkcs11KeyStore::generateRSA(), with the label and id of the URI's "object"
/// and "id". Any other text names a new PEM file in PKCS #8 (RFC 5958) that only its owner may read; a file that exists
/// already is never replaced.
///
/// @param uri the URI or path; a path names a file that does not exist yet.
/// @param modulusBits size of the modulus in bits, 2048 to 16384.
/// @param askForSecret gives the PIN of the PKCS #11 token, or the passphrase of the new file. With a passphrase the
///        file is encrypted with AES-256-CBC (PBKDF2 with HMAC-SHA-256 and 600,000 iterations); without one it is not
///        encrypted.
/// @param lastPinTry as for openKey().
/// @throws KeyStoreError as openKey(); unavailable when the file exists or cannot be written, and operationFailed when
///         the PKCS #11 token has a key or certificate with that label or id. SecurityError for another size. After an
///         error there is no new file.
TORVANE_EXPORT SecKey generateRSAKeyAt(std::string_view uri, std::size_t modulusBits,
                                       const SecretSource& askForSecret = {}, LastPinTry lastPinTry = LastPinTry::keep);

/// Makes an EC key pair at a URI, as generateRSAKeyAt() makes an RSA key pair, and returns the private key.
/// @param uri the URI or path; a path names a file that does not exist yet.
/// @param curve the curve of the key.
/// @param askForSecret as for generateRSAKeyAt().
/// @param lastPinTry as for openKey().
/// @throws KeyStoreError as generateRSAKeyAt().
TORVANE_EXPORT SecKey generateECKeyAt(std::string_view uri, EllipticCurve curve, const SecretSource& askForSecret = {},
                                      LastPinTry lastPinTry = LastPinTry::keep);

}  // namespace Torvane
