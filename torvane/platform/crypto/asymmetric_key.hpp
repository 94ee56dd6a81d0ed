// RSA and EC keys between numbers, DER and PEM text, and OpenSSL's own form.
#pragma once

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/crypto/openssl.hpp"
#include "torvane/platform/primitives.hpp"

namespace Platform::Crypto {

/// OpenSSL's name of a curve, for example "P-256".
const char* groupName(EllipticCurve curve) noexcept;

/// @throws SecurityError when the numbers are no key: an even modulus or exponent, a point off its curve.
Pkey publicKey(const PublicComponents& components);

/// @throws SecurityError when the numbers don't belong together.
Pkey privateKey(const RSAPrivateComponents& components);
Pkey privateKey(const ECPrivateComponents& components);

/// @throws SecurityError for another kind of key, or a curve other than those of EllipticCurve.
PublicComponents publicComponents(const EVP_PKEY* key);

Pkey generateRSA(std::size_t modulusBits);
Pkey generateEC(EllipticCurve curve);

/// The same numbers in a key of their own, with nothing of what OpenSSL has worked out from them.
Pkey copyOf(EVP_PKEY* key);

struct LoadedKey {
    Pkey key;
    bool isPrivate;
};

/// Reads one key from unencrypted PEM or DER: PKCS #8, PKCS #1, SEC 1 or SubjectPublicKeyInfo.
/// @throws SecurityError when there is none, or when a private key's numbers don't belong together.
LoadedKey load(ByteView encoded);

}  // namespace Platform::Crypto
