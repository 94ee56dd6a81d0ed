// RSA and EC keys between numbers and OpenSSL's own form.
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// OpenSSL's name of a curve, for example "P-256".
const char* groupName(EllipticCurve curve) noexcept;

/// @throws SecurityError when the numbers are no key: an even modulus or exponent, a point off its curve.
Pkey publicKey(const PublicComponents& components);

/// @throws SecurityError when the numbers don't belong together.
Pkey privateKey(const RSAPrivateComponents& components);
Pkey privateKey(const ECPrivateComponents& components);

/// Says which keys there are.
SecurityError unsupportedKey();

/// @throws SecurityError for another kind of key, or a curve other than those of EllipticCurve.
PublicComponents publicComponents(const EVP_PKEY* key);

Pkey generateRSA(std::size_t modulusBits);
Pkey generateEC(EllipticCurve curve);

// secp256k1 keys are used as raw bytes, and are OpenSSL's only where they are read from text or written as such.

Pkey generateSecp256k1();
bool isSecp256k1(const EVP_PKEY* key) noexcept;
/// The 32 bytes of a private key's scalar.
SecretBuffer secp256k1Scalar(const EVP_PKEY* key);
/// The 65 bytes of the point in uncompressed form.
ByteBuffer secp256k1Point(const EVP_PKEY* key);

/// The key, if its private numbers belong to the public ones: n = pq with primes, d and the CRT values, or d times the
/// generator. A key that mixes two pairs would sign with one and be verified with the other.
/// @throws SecurityError
Pkey checkedPair(Pkey key);

/// The same numbers in a key of their own, with nothing of what OpenSSL has worked out from them.
Pkey copyOf(EVP_PKEY* key);

}  // namespace Torvane::Crypto
