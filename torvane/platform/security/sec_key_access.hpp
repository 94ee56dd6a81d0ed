// Between handles and the keys that OpenSSL holds. Not installed.
#pragma once

#include "torvane/platform/crypto/openssl.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace Platform {

struct SecKeyAccess {
    static EVP_PKEY* publicPkey(const SecKey& key) noexcept;
};

/// A handle to one half of a key that OpenSSL holds.
/// @throws SecurityError for a key that is neither RSA nor EC on P-256, P-384 or P-521.
SecKey softwareKey(Crypto::Pkey key, KeyHalf half);

}  // namespace Platform
