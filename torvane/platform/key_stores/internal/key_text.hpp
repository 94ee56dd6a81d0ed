// Keys as text: PEM, DER and PKCS #12, whatever a file may hold.
#pragma once

#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// All keys of a text, each kind in the order in which they stand there.
struct KeysRead {
    std::vector<Pkey> privateKeys;
    std::vector<Pkey> publicKeys;
    /// The keys of certificates.
    std::vector<Pkey> certifiedKeys;
    /// Whether a passphrase was given, and whether something remains encrypted.
    bool hadPassphrase = false;
    bool remainsEncrypted = false;

    bool empty() const noexcept { return privateKeys.empty() && publicKeys.empty() && certifiedKeys.empty(); }
};

/// Reads PKCS #8 (encrypted or not), PKCS #1, SEC 1, SubjectPublicKeyInfo, X.509 certificates and PKCS #12. The source
/// is asked at most once, and may be null. What cannot be read is passed over.
KeysRead readKeys(ByteView encoded, const SecretSource& passphrase, std::string_view whose);

/// The one key of that half. A private key that can be read goes before a public key, and that before the first
/// certificate: it stands for its public half too, and is checked to match it. An error says `origin`.
/// @throws KeyStoreError wrongSecret, keyNotFound; SecurityError for halves that don't match.
Pkey readKey(ByteView encoded, KeyHalf half, const SecretSource& passphrase, std::string_view origin);

/// PKCS #8 as PEM (RFC 7468, section 10), encrypted where there is a passphrase: AES-256-CBC under a key that PBKDF2
/// derives with HMAC-SHA-256 (RFC 8018, section 6.2).
SecretBuffer privateKeyPem(EVP_PKEY* key, const std::optional<SecretBuffer>& passphrase);

}  // namespace Torvane::Crypto
