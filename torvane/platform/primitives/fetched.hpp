// Algorithms that OpenSSL has been asked for once. Its own constants (EVP_sha256() and the like) are looked up anew at
// every use, which costs as much as hashing a short message.
#pragma once

#include <cstddef>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

// Constants: made at their first use, only read afterwards, never freed.

const EVP_MD* fetchedDigest(HashFunction hash);

/// @{
/// For keys of 16, 24 or 32 bytes.
const EVP_CIPHER* fetchedAesGcm(std::size_t keySize);
const EVP_CIPHER* fetchedAesCbc(std::size_t keySize);
/// @}

/// An HMAC of one's own, to be given its key.
MacContext newHmac(HashFunction hash);

}  // namespace Torvane::Crypto
