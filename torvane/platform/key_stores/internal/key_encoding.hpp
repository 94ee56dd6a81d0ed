// Keys in PEM, DER and PKCS #12: a reader for what a key file may hold, and writers of PEM.
#pragma once

#include <string>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The keys of a text, those of each kind in their order in the text.
struct KeysRead {
    std::vector<Pkey> privateKeys;
    std::vector<Pkey> publicKeys;
    /// The public keys of certificates.
    std::vector<Pkey> certifiedKeys;
    /// Whether the callback gave a passphrase.
    bool hadPassphrase = false;
    /// Whether a part of the text could not be decrypted.
    bool remainsEncrypted = false;
};

/// Reads PKCS #8 (encrypted or not), PKCS #1, SEC 1, SubjectPublicKeyInfo, X.509 certificates and PKCS #12. Whatever
/// else the text holds is skipped, and so are objects after the 64th and private keys of more than 16 kB. The callback
/// may be empty and is called at most once. Without it nothing is decrypted, and no PKCS #12 is read. Errors name the
/// text by `origin`.
/// @throws KeyStoreError notSupported when decrypting would take more than keyDerivationIterations; whatever the
///         callback throws.
KeysRead readKeys(ByteView encoded, const SecretSource& askForPassphrase, std::string_view origin,
                  const Limits& limits = {});

/// Reads the one key of that class. For a public key a private key takes precedence over a public key, and a public key
/// over the first certificate. A private key is checked with requireConsistentPair(). Errors name the text by `origin`.
/// @throws KeyStoreError wrongSecret when the passphrase is missing or wrong, keyNotFound when there is no such key or
///         more than one; what readKeys() throws; SecurityError for a private key that does not match its public key,
///         and as requireModulusWithin().
Pkey readKey(ByteView encoded, KeyClass keyClass, const SecretSource& askForPassphrase, std::string_view origin,
             const Limits& limits = {});

/// Returns the key itself if it is within rsaBits.
/// @throws SecurityError when an RSA modulus has more bits.
Pkey requireModulusWithin(const Limits& limits, Pkey key);

/// Writes PKCS #8 as PEM (RFC 7468, section 10). With a passphrase it is encrypted with AES-256-CBC under a key that
/// PBKDF2 derives with HMAC-SHA-256 (RFC 8018, section 6.2).
SecretBuffer writePrivateKeyPem(EVP_PKEY* key, const std::optional<SecretBuffer>& passphrase);

/// Writes SubjectPublicKeyInfo as PEM (RFC 7468, section 13), with an EC point in uncompressed form.
std::string writePublicKeyPem(const EVP_PKEY* key);

}  // namespace Torvane::Crypto
