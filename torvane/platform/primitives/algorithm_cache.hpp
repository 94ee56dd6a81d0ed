// Algorithms of OpenSSL, each fetched once in a process.
//
// OpenSSL's own constants, such as EVP_sha256(), are looked up at every use, which costs as much as hashing a short
// message.
#pragma once

#include <cstddef>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

// The algorithms are fetched at their first use and never freed. Threads may share them.

const EVP_MD* fetchDigest(HashFunction hash);

/// @{
/// For keys of 16, 24 or 32 bytes.
const EVP_CIPHER* fetchAesGcm(std::size_t keySize);
const EVP_CIPHER* fetchAesCbc(std::size_t keySize);
/// AES key wrap (RFC 3394).
const EVP_CIPHER* fetchAesWrap(std::size_t keySize);
/// @}

/// The single-step key derivation function of NIST SP 800-56C, with SHA-256 that of RFC 7518, section 4.6.2.
EVP_KDF* fetchConcatKdf();

/// A new HMAC context for the caller alone. It has a placeholder key: set the real one before use.
MacContext makeHmacContext(HashFunction hash);

}  // namespace Torvane::Crypto
