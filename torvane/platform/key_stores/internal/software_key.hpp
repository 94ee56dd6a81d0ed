// Between handles and the keys that OpenSSL holds.
#pragma once

#include "torvane/platform/key_stores/sec_key.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane {

struct SecKeyAccess {
    static EVP_PKEY* publicPkey(const SecKey& key) noexcept;
};

/// A handle to one half of a key that OpenSSL holds.
/// @throws SecurityError for a key that is neither RSA nor EC on P-256, P-384 or P-521.
SecKey softwareKey(Crypto::Pkey key, KeyHalf half);

}  // namespace Torvane
