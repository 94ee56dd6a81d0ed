// The software key store: key pairs held in memory by OpenSSL.
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// Keys that live as long as their handles, and are wiped with the last of them. To keep one, see generateRSAKeyAt().
struct TORVANE_EXPORT SoftwareKeyStore {
    SoftwareKeyStore() = delete;

    /// A new RSA key pair with the public exponent 65537. The name stays with the handle.
    /// @throws SecurityError when OpenSSL does not make a key of that size, in bits (2048 and more are of use).
    static SecKey generateRSA(std::size_t modulusBits = 2048, KeyName name = {});

    /// A new EC key pair. The name stays with the handle.
    static SecKey generateEC(EllipticCurve curve, KeyName name = {});

    /// Reads one key from unencrypted PEM or DER text in memory: a private key from PKCS #8 (RFC 5958), PKCS
    /// #1 (RFC 8017, appendix A.1.2) or SEC 1 (RFC 5915), a public key from SubjectPublicKeyInfo (RFC 5280) or PKCS #1.
    /// @throws SecurityError when there is no such key, when it is neither RSA nor EC on P-256, P-384 or P-521, or
    ///         when a private key does not match its public half.
    static SecKey load(ByteView encoded);

    /// Reads the asked half of the one key pair in a PEM, DER or PKCS #12 text in memory, which may be encrypted.
    /// Beside the forms above, the public half may be that of a private key or of a certificate (RFC 5280): a private
    /// key that can be read goes before a public key, and that before the first certificate. An error says `origin`.
    /// @throws KeyStoreError wrongSecret when the passphrase does not decrypt the text, keyNotFound when there is no
    ///         key of that half or more than one; SecurityError as above.
    static SecKey load(ByteView encoded, KeyClass keyClass, const SecretSource& passphrase,
                       std::string_view origin = "the text");

    /// @{
    /// A private key from its numbers.
    /// @throws SecurityError when they don't belong together, and for an RSA modulus of more than 16384 bits.
    static SecKey fromComponents(const RSAPrivateComponents& components);
    static SecKey fromComponents(const ECPrivateComponents& components);
    /// @}
};

}  // namespace Torvane
