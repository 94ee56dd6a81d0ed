// RSA and EC keys as OpenSSL objects: built from components, generated, and read back into components.
//
// Keys that are not consistent are rejected: an even modulus, a point off its curve, a private value of another key.
#pragma once

#include <cstddef>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// A point in uncompressed form (SEC 1, section 2.3.3): 0x04, x and y. Both coordinates have the size of the curve.
ByteBuffer encodePoint(ByteView x, ByteView y);

/// OpenSSL's name of a curve, for example "P-256".
const char* openSSLCurveName(EllipticCurve curve) noexcept;

/// Builds a public key.
/// @throws SecurityError for an even modulus or exponent, or a point that is not on its curve.
Pkey makePublicKey(const PublicComponents& components);

/// @{
/// Builds a private key and checks it with requireConsistentPair().
/// @throws SecurityError when the components do not belong together, or an RSA modulus has more than 16384 bits.
Pkey makePrivateKey(const RSAPrivateComponents& components);
Pkey makePrivateKey(const ECPrivateComponents& components);
/// @}

/// The error for a key that is neither RSA nor EC on a curve of EllipticCurve.
SecurityError unsupportedKeyError();

/// The error for an EC key with explicit parameters instead of a named curve (RFC 5480, section 2.1.1).
SecurityError explicitCurveError();

/// @throws SecurityError for an encoded point that begins with 6 or 7 (RFC 5480, section 2.2).
void rejectHybridPoint(ByteView point);

/// @throws SecurityError for an RSA modulus of more than 16384 bits.
void requireModulusSize(const PublicComponents& components);

/// The public components of a public or private key, without leading zero bytes for RSA, and with coordinates of
/// exactly coordinateSize(curve) bytes for EC.
/// @throws SecurityError as unsupportedKeyError(), explicitCurveError() and rejectHybridPoint().
PublicComponents readPublicComponents(const EVP_PKEY* key);

/// @throws SecurityError unless a new RSA key may have that size: 2048 to 16384 bits.
void requireNewModulusSize(std::size_t bits);

/// A new RSA key pair with the public exponent 65537.
/// @throws SecurityError as requireNewModulusSize().
Pkey generateRSA(std::size_t modulusBits);
Pkey generateEC(EllipticCurve curve);

// secp256k1 keys are used as raw bytes. They are OpenSSL objects only while a file with one is read or written.

/// Builds a public key from an uncompressed point.
/// @throws SecurityError for a point that is not on the curve.
Pkey makeSecp256k1PublicKey(ByteView point);
Pkey generateSecp256k1();
bool isSecp256k1(const EVP_PKEY* key) noexcept;
/// The scalar of a private key: 32 bytes, big-endian.
SecretBuffer readSecp256k1Scalar(const EVP_PKEY* key);
/// The uncompressed point: 65 bytes, the first of which is 0x04.
/// @throws SecurityError as explicitCurveError() and rejectHybridPoint().
ByteBuffer readSecp256k1Point(const EVP_PKEY* key);

/// Returns the key if its private values belong to its public ones. For RSA, n = pq with p and q prime, and d, dp, dq
/// and qi match them (isConsistentRSA()); for EC, the point is d times the generator. A key that mixes two pairs would
/// sign with one, and be verified with the other.
/// @throws SecurityError also as readPublicComponents(), for a key of another family, and for an RSA key of more than
///         two primes or 16384 bits.
Pkey requireConsistentPair(Pkey key);

/// A new key object with the same components and none of the values that OpenSSL caches in a key, such as blindings.
Pkey copyKey(EVP_PKEY* key);

}  // namespace Torvane::Crypto
