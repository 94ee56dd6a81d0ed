// Handles of keys that OpenSSL holds, and access from a handle to OpenSSL's public key.
#pragma once

#include "torvane/platform/key_stores/sec_key.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane {

/// Friend of SecKey.
struct SecKeyAccess {
    /// OpenSSL's object for the public key; valid as long as some copy of the handle lives.
    static EVP_PKEY* publicPkey(const SecKey& key) noexcept;
};

/// A handle to the public or the private key of a pair that OpenSSL holds.
/// @throws SecurityError for a key that is neither RSA nor EC on P-256, P-384 or P-521, or EC with explicit parameters
///         or a point in hybrid form.
SecKey makeSoftwareKey(Crypto::Pkey key, KeyClass keyClass);

}  // namespace Torvane
