// ECDH-ES (RFC 7518, section 4.6): from two keys to one.
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// What the two parties say of themselves, decoded; empty where they say nothing.
struct PartyInfo {
    ByteBuffer u;
    ByteBuffer v;
};

/// The content key where the agreement is direct, else the key that wraps it.
/// @throws SecurityError when the key store fails.
SecretBuffer agreedKey(const SecKey& own, const SecKey& peer, KeyManagementAlgorithm algorithm,
                       ContentEncryptionAlgorithm encryption, const PartyInfo& info);

}  // namespace Torvane::JOSE
