// Objects of OpenSSL that are made once in a process, such as its algorithms.
//
// OpenSSL's own constants, such as EVP_sha256(), are looked up at every use, which costs as much as hashing a short
// message.
#pragma once

#include <atomic>
#include <cstddef>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

// All are made at their first use and never freed. Threads may share them.

/// An object of OpenSSL that is made once in a process.
template <class T>
using Shared = std::atomic<T*>;

/// Returns the object, which is made if there is none. Of threads that make one at the same time, the first one wins.
/// @param make returns a Handle.
template <class T, class Make>
T* findOrMake(Shared<T>& shared, Make make) {
    if (auto* const known = shared.load(std::memory_order_acquire)) return known;
    auto made = make();
    T* known = nullptr;
    return shared.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel) ? made.release() : known;
}

const EVP_MD* fetchDigest(HashFunction hash);

/// "wrap" is AES key wrap (RFC 3394).
enum class AesMode { gcm, cbc, wrap };

/// AES for keys of 16, 24 or 32 bytes.
/// @throws SecurityError for keys of another size.
const EVP_CIPHER* fetchAes(AesMode mode, std::size_t keySize);

/// The single-step key derivation function of NIST SP 800-56C, with SHA-256 that of RFC 7518, section 4.6.2.
EVP_KDF* fetchConcatKdf();

/// A new HMAC context for the caller alone. It has a placeholder key: set the real one before use.
MacContext makeHmacContext(HashFunction hash);

}  // namespace Torvane::Crypto
