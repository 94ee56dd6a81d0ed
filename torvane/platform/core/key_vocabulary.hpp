// Types of the key-store interface: hash functions, signature schemes, curves, the components and the names of keys.
#pragma once

#include <bit>
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
    SHA1,  ///< Digests of 20 bytes; for RSA-OAEP only, which does not need collision resistance. Never for signatures.
    SHA256,  ///< Digests of 32 bytes.
    SHA384,  ///< Digests of 48 bytes.
    SHA512,  ///< Digests of 64 bytes.
};

/// Size of the digest in bytes.
[[nodiscard]] constexpr std::size_t digestSize(HashFunction hash) noexcept {
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
    ECDSA,      ///< r and s concatenated, each coordinateSize() bytes (RFC 7518, section 3.4).
};

/// The curves of platform keys (FIPS 186-4). secp256k1 is not one of them: its keys are raw bytes.
enum class EllipticCurve {
    P256,  ///< "P-256", secp256r1; coordinates of 32 bytes.
    P384,  ///< "P-384", secp384r1; coordinates of 48 bytes.
    P521,  ///< "P-521", secp521r1; coordinates of 66 bytes, the first of which is 0 or 1.
};

/// Size in bytes of a coordinate, of a private scalar, and of each half of a signature.
[[nodiscard]] constexpr std::size_t coordinateSize(EllipticCurve curve) noexcept {
    switch (curve) {
        case EllipticCurve::P256: return 32;
        case EllipticCurve::P384: return 48;
        case EllipticCurve::P521: return 66;
    }
    return 0;
}

/// Bits of an unsigned big-endian number without leading zero bytes: the size of an RSA key is that of its modulus.
[[nodiscard]] constexpr std::size_t countBits(ByteView number) noexcept {
    return number.empty() ? 0 : number.size() * 8 - static_cast<std::size_t>(std::countl_zero(number.front()));
}

/// n and e of an RSA public key: unsigned, big-endian. SecKey accepts leading zero bytes, and returns the components
/// without them.
struct RSAPublicComponents {
    /// n: 256 bytes for a key of 2048 bits.
    ByteBuffer modulus;
    /// e: 65537 (the bytes 1, 0, 1) in most keys.
    ByteBuffer exponent;

    /// Compares n and e byte for byte.
    bool operator==(const RSAPublicComponents&) const = default;
};

/// An affine point. Each coordinate is big-endian and coordinateSize(curve) bytes long.
struct ECPublicComponents {
    /// The curve of the point.
    EllipticCurve curve{};
    /// @{
    /// Leading zero bytes are kept.
    ByteBuffer x;
    ByteBuffer y;
    /// @}

    /// Compares the curve, and the coordinates byte for byte.
    bool operator==(const ECPublicComponents&) const = default;
};

/// The components of a public key; the alternative tells the key family.
using PublicComponents = std::variant<RSAPublicComponents, ECPublicComponents>;

/// The private exponent, both primes and the CRT values of an RSA key (RFC 8017, section 3.2): unsigned, big-endian.
struct RSAPrivateComponents {
    /// The public key of the same pair.
    RSAPublicComponents publicHalf;
    /// @{
    /// Named as in a JWK (RFC 7518, section 6.3.2). All six are required.
    SecretBuffer d, p, q, dp, dq, qi;
    /// @}
};

/// The private scalar of an EC key.
struct ECPrivateComponents {
    /// The public key of the same pair.
    ECPublicComponents publicHalf;
    /// Big-endian, coordinateSize(curve) bytes; from 1 to the curve's order - 1.
    SecretBuffer d;
};

/// The name of a key in its store: a label for people and an id for machines (CKA_LABEL and CKA_ID of PKCS #11).
struct KeyName {
    /// Empty for a key without a label. Several keys may have the same label.
    std::string label;
    /// Empty for a key without an id. Both keys of a pair have the same id.
    ByteBuffer id{};

    /// Compares label and id byte for byte.
    bool operator==(const KeyName&) const = default;
};

/// Public or private: the class of a key, or which key of a pair is requested.
enum class KeyClass {
    publicKey,   ///< Verifies, and encrypts to the owner. May be written into a JWK Set.
    privateKey,  ///< Signs, decrypts and agrees on keys. Opening one may ask for a passphrase or PIN.
};

/// Whether a login to a PKCS #11 token may send a PIN when a wrong one would lock the token (CKF_USER_PIN_FINAL_TRY).
enum class LastPinTry {
    keep,   ///< The login fails with KeyStoreError wrongSecret, and no PIN is asked for.
    spend,  ///< The next PIN is sent. Ask the user for permission before.
};

/// Callback that returns a passphrase or PIN when one is needed, or nothing when there is none. `description` says
/// which secret is needed, for example `the PIN of the PKCS #11 token "app"`. A store calls it from the thread of the
/// operation that needs the secret, and never from two threads at once. An exception that it throws reaches the caller
/// of that operation.
using SecretSource = std::function<std::optional<SecretBuffer>(std::string_view description)>;

}  // namespace Torvane
