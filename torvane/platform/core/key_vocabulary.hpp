// The words in which a key store is spoken to: hash functions, schemes, curves, keys as numbers and by name.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// SHA-1 and SHA-2 (FIPS 180-4).
enum class HashFunction {
    SHA1,    ///< For RSA-OAEP alone, which does not rest on its collision resistance; signatures never have it.
    SHA256,  ///< Digests of 32 bytes.
    SHA384,  ///< Digests of 48 bytes.
    SHA512,  ///< Digests of 64 bytes.
};

/// Size of the digest in bytes.
constexpr std::size_t digestSize(HashFunction hash) noexcept {
    switch (hash) {
        case HashFunction::SHA1: return 20;
        case HashFunction::SHA256: return 32;
        case HashFunction::SHA384: return 48;
        case HashFunction::SHA512: return 64;
    }
    return 0;
}

/// How a key signs a digest.
enum class SignatureScheme {
    RSA_PKCS1,  ///< RSASSA-PKCS1-v1_5 (RFC 8017, section 8.2).
    RSA_PSS,    ///< RSASSA-PSS with MGF1 over the same hash and a salt of the digest's size (RFC 8017, section 8.1).
    ECDSA,      ///< r and s side by side, each coordinateSize() bytes (RFC 7518, section 3.4).
};

/// The curves of platform keys (FIPS 186-4). secp256k1 is not among them: its keys are raw bytes.
enum class EllipticCurve {
    P256,  ///< "P-256", secp256r1; numbers of 32 bytes.
    P384,  ///< "P-384", secp384r1; numbers of 48 bytes.
    P521,  ///< "P-521", secp521r1; numbers of 66 bytes, the first of which is 0 or 1.
};

/// Size in bytes of a coordinate, of a private scalar, and of each half of a signature.
constexpr std::size_t coordinateSize(EllipticCurve curve) noexcept {
    switch (curve) {
        case EllipticCurve::P256: return 32;
        case EllipticCurve::P384: return 48;
        case EllipticCurve::P521: return 66;
    }
    return 0;
}

/// Unsigned big-endian numbers without leading zero bytes.
struct RSAPublicComponents {
    /// n; a key of 2048 bits has one of 256 bytes.
    ByteBuffer modulus;
    /// e, mostly 65537.
    ByteBuffer exponent;

    /// Compares both numbers, byte for byte.
    bool operator==(const RSAPublicComponents&) const = default;
};

/// An affine point; each coordinate is big-endian and coordinateSize(curve) bytes long.
struct ECPublicComponents {
    /// Says how long the coordinates are.
    EllipticCurve curve{};
    /// @{
    /// With leading zeros where there are any.
    ByteBuffer x;
    ByteBuffer y;
    /// @}

    /// Compares the curve, and the coordinates byte for byte.
    bool operator==(const ECPublicComponents&) const = default;
};

/// The numbers of a public key of either family.
using PublicComponents = std::variant<RSAPublicComponents, ECPublicComponents>;

/// Unsigned big-endian numbers: the private exponent, both primes, and the CRT values (RFC 8017,
/// section 3.2).
struct RSAPrivateComponents {
    /// Has to belong to the numbers below.
    RSAPublicComponents publicHalf;
    /// @{
    /// By their names in a JWK (RFC 7518, section 6.3.2); all of them are needed.
    SecretBuffer d, p, q, dp, dq, qi;
    /// @}
};

/// The private scalar, big-endian.
struct ECPrivateComponents {
    /// Has to be the scalar's point.
    ECPublicComponents publicHalf;
    /// From 1 to the curve's order - 1.
    SecretBuffer d;
};

/// What a key is called in its store: a label for people, and an id for machines (CKA_LABEL and CKA_ID of PKCS #11).
struct KeyName {
    /// Empty where it has none; need not be the only one.
    std::string label;
    /// Empty where it has none. The two halves of a pair have the same.
    ByteBuffer id;

    /// Compares both, byte for byte.
    bool operator==(const KeyName&) const = default;
};

/// Public or private: the class of a key, and the key of a pair that is asked for.
enum class KeyClass {
    publicKey,   ///< Verifies, and encrypts to the owner. May be written into a JWK Set.
    privateKey,  ///< Signs, decrypts and agrees. Opening one may ask for a passphrase or PIN.
};

/// Asked for a passphrase or PIN when one is needed, with words for whom it is, for example `the PIN of the token
/// "app"`; nothing when there is none. What it throws is passed on. A store asks it from the thread of the call that
/// needs it, and never from two threads at once.
using SecretSource = std::function<std::optional<SecretBuffer>(std::string_view whose)>;

}  // namespace Torvane
