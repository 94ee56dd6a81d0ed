// Check that the private values of an RSA key belong to its public ones, in bounded time.
#pragma once

#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The longest modulus that OpenSSL computes with, in bits.
inline constexpr int maximumModulusBits = 16384;

/// Whether n = pq with p and q prime, d, dp and dq are inverses of e, and qi is the inverse of q (RFC 8017, section
/// 3.2). False for more than two primes, and for p or q longer than half of the longest modulus.
///
/// OpenSSL's own check begins with up to 128 rounds of a primality test for p and for q, which take minutes for a large
/// key, even if the key is a forgery that a multiplication would unmask. Here everything else is checked first, and a
/// composite p or q passes the primality test with a probability of at most 4^-8 (4^-3 beyond 4096 bits), however it
/// was chosen. Such a key harms only its owner.
/// @throws SecurityError when OpenSSL fails, or the modulus has more than 16384 bits.
bool isConsistentRSA(const EVP_PKEY* key);

}  // namespace Torvane::Crypto
