// Cost of the keys that are derived from a passphrase: counted before anything is derived.
//
// Whoever writes a file chooses the numbers of iterations in it, which fit into a few bytes and can take hours.
#pragma once

#include <cstdint>

#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

inline void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) noexcept {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}

/// The contents of a part of a PKCS #12 file.
using Bags = Handle<STACK_OF(PKCS12_SAFEBAG), freeBags>;

/// Sum of the iterations of PBES1, PBKDF2 (RFC 8018), and of the encryption and the MAC of PKCS #12 (RFC 7292). One
/// iteration of scrypt (RFC 7914) is a block of its memory, so it counts as N * r * p iterations.
class DerivationCost {
  public:
    void add(const X509_SIG* encryptedKey);
    /// Adds what is not encrypted itself: the MAC, the encrypted parts, and encrypted keys in parts that are not.
    void add(const PKCS12* file, const STACK_OF(PKCS7) * parts);
    /// Adds the encrypted keys.
    void add(const STACK_OF(PKCS12_SAFEBAG) * bags);

    /// At most 2^64 - 1, for every higher sum too.
    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }

  private:
    void add(const X509_ALGOR* algorithm);
    void addFunction(const X509_ALGOR* algorithm);
    // A number below zero or beyond 64 bits counts as 2^64 - 1.
    void add(const ASN1_INTEGER* iterations);
    void add(std::uint64_t iterations) noexcept;

    std::uint64_t total_ = 0;
};

}  // namespace Torvane::Crypto
