// The software store's way to OpenSSL's form of a public key. Not installed.
#pragma once

#include "torvane/platform/crypto/openssl.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace Platform {

struct SecKeyAccess {
    static EVP_PKEY* publicPkey(const SecKey& key) noexcept;
};

}  // namespace Platform
