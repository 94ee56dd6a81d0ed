// SoftwareKeyStore, the key store in memory: key pairs that OpenSSL holds.
//
//     Torvane::SecKey key = Torvane::SoftwareKeyStore::generateEC(Torvane::EllipticCurve::P256);
//     Torvane::SecKey theirs = Torvane::SoftwareKeyStore::load(key.publicKeyPem());
#pragma once

#include <cstddef>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// Keys in memory. A key lives as long as some handle to it, and is wiped with the last one; generateRSAKeyAt() and
/// generateECKeyAt() make keys in a file or PKCS #11 token. All functions may be called from several threads at once.
struct TORVANE_EXPORT SoftwareKeyStore {
    SoftwareKeyStore() = delete;

    /// Makes an RSA key pair with the public exponent 65537, and returns the private key.
    /// @param modulusBits size of the modulus in bits, 2048 to 16384.
    /// @param name the name that SecKey::name() returns.
    /// @throws SecurityError for another size.
    [[nodiscard]] static SecKey generateRSA(std::size_t modulusBits = 2048, KeyName name = {});

    /// Makes an EC key pair, and returns the private key.
    /// @param curve the curve of the key.
    /// @param name the name that SecKey::name() returns.
    [[nodiscard]] static SecKey generateEC(EllipticCurve curve, KeyName name = {});

    /// @{
    /// Reads an unencrypted key from PEM or DER: a private key from PKCS #8 (RFC 5958), PKCS #1 (RFC 8017, appendix
    /// A.1.2) or SEC 1 (RFC 5915), a public key from SubjectPublicKeyInfo (RFC 5280) or PKCS #1. The first private key
    /// is used; without one, the first public key. Only the first 64 objects of the input are read. Applies the limit
    /// rsaBits.
    /// @throws SecurityError when the input holds no such key, when that key is neither RSA nor EC on P-256, P-384 or
    ///         P-521, when it is EC with explicit parameters or a point in hybrid form (RFC 5480, section 2), when a
    ///         private key does not belong to the public key beside it, when a private RSA key has more than 16384 bits
    ///         or more than two primes, or when an RSA key has more than rsaBits.
    [[nodiscard]] static SecKey load(ByteView encoded, const Limits& limits = {});
    [[nodiscard]] static SecKey load(const TextLike auto& encoded, const Limits& limits = {}) {
        return load(asBytes(encoded), limits);
    }
    /// @}

    /// @{
    /// Reads the one key pair from PEM, DER or PKCS #12, encrypted or not. The public key comes from the first of these
    /// that can be read: the private key, the public key, the first certificate (RFC 5280). Only the first 64 objects
    /// of the input are read.
    /// @param encoded the input, in memory.
    /// @param keyClass which key of the pair to return.
    /// @param askForPassphrase called at most once, and only if the input is encrypted; may be empty. Without it,
    ///        encrypted keys and PKCS #12 are not read.
    /// @param origin the name of the input in error texts.
    /// @param limits rsaBits and keyDerivationIterations.
    /// @throws KeyStoreError wrongSecret when the passphrase is missing or does not decrypt the input; keyNotFound when
    ///         it holds no key of that class, or more than one; notSupported when decrypting it takes more than
    ///         keyDerivationIterations. SecurityError as load(encoded). Whatever `askForPassphrase` throws.
    [[nodiscard]] static SecKey load(ByteView encoded, KeyClass keyClass, const SecretSource& askForPassphrase,
                                     std::string_view origin = "the text", const Limits& limits = {});
    [[nodiscard]] static SecKey load(const TextLike auto& encoded, KeyClass keyClass,
                                     const SecretSource& askForPassphrase, std::string_view origin = "the text",
                                     const Limits& limits = {}) {
        return load(asBytes(encoded), keyClass, askForPassphrase, origin, limits);
    }
    /// @}

    /// @{
    /// Makes a private key from its components, which are copied.
    /// @throws SecurityError when the components do not belong together, and for an RSA modulus of more than 16384
    ///         bits.
    [[nodiscard]] static SecKey fromComponents(const RSAPrivateComponents& components);
    [[nodiscard]] static SecKey fromComponents(const ECPrivateComponents& components);
    /// @}
};

}  // namespace Torvane
