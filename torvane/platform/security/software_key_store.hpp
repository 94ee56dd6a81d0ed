// The software key store: key pairs held in memory by OpenSSL.
#pragma once

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/primitives.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace Platform {

struct TORVANE_EXPORT SoftwareKeyStore {
    SoftwareKeyStore() = delete;

    /// A new RSA key pair with the public exponent 65537.
    /// @throws SecurityError when OpenSSL does not make a key of that size, in bits (2048 and more are of use).
    static SecKey generateRSA(std::size_t modulusBits = 2048);

    static SecKey generateEC(EllipticCurve curve);

    /// Reads one key from unencrypted PEM or DER text in memory: a private key from PKCS #8 (RFC 5958), PKCS
    /// #1 (RFC 8017, appendix A.1.2) or SEC 1 (RFC 5915), a public key from SubjectPublicKeyInfo (RFC 5280) or PKCS #1.
    /// @throws SecurityError when there is no such key, when it is neither RSA nor EC on P-256, P-384 or P-521, or
    ///         when a private key does not match its public half.
    static SecKey load(ByteView encoded);

    /// A private key from its numbers.
    /// @throws SecurityError when they don't belong together, and for an RSA modulus of more than 16384 bits.
    static SecKey fromComponents(const RSAPrivateComponents& components);
    static SecKey fromComponents(const ECPrivateComponents& components);
};

}  // namespace Platform
