// The words in which a key store is spoken to: hash functions, schemes, curves, keys as numbers and by name.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "torvane/platform/bytes.hpp"

namespace Platform {

enum class HashFunction { SHA1, SHA256, SHA384, SHA512 };

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

/// RSA_PKCS1 is RSASSA-PKCS1-v1_5, RSA_PSS is RSASSA-PSS with MGF1 over the same hash and a salt of the
/// digest's size (RFC 8017, sections 8.2 and 8.1).
enum class SignatureScheme { RSA_PKCS1, RSA_PSS, ECDSA };

/// The curves of platform keys (FIPS 186-4). secp256k1 is not among them: its keys are raw bytes.
enum class EllipticCurve { P256, P384, P521 };

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
    ByteBuffer modulus;
    ByteBuffer exponent;

    bool operator==(const RSAPublicComponents&) const = default;
};

/// An affine point; each coordinate is big-endian and coordinateSize(curve) bytes long.
struct ECPublicComponents {
    EllipticCurve curve{};
    ByteBuffer x;
    ByteBuffer y;

    bool operator==(const ECPublicComponents&) const = default;
};

using PublicComponents = std::variant<RSAPublicComponents, ECPublicComponents>;

/// Unsigned big-endian numbers: the private exponent, both primes, and the CRT values (RFC 8017,
/// section 3.2).
struct RSAPrivateComponents {
    RSAPublicComponents publicHalf;
    SecretBuffer d, p, q, dp, dq, qi;
};

/// The private scalar, big-endian.
struct ECPrivateComponents {
    ECPublicComponents publicHalf;
    SecretBuffer d;
};

/// What a key is called in its store: a label for people, and an id for machines (CKA_LABEL and CKA_ID of PKCS #11).
struct KeyName {
    std::string label;
    ByteBuffer id;

    bool operator==(const KeyName&) const = default;
};

/// The half of a key pair that is asked for.
enum class KeyHalf { publicHalf, privateHalf };

/// Asked for a passphrase or PIN when one is needed, with words for whom it is, for example `the PIN of the token
/// "app"`; nothing when there is none. What it throws is passed on. A store asks it from the thread of the call that
/// needs it, and never from two threads at once.
using SecretSource = std::function<std::optional<SecretBuffer>(std::string_view whose)>;

}  // namespace Platform
