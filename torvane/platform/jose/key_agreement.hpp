// ECDH-ES (RFC 7518, section 4.6): from two keys to one. Not installed.
#pragma once

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace JOSE {

/// What the two parties say of themselves, decoded; empty where they say nothing.
struct PartyInfo {
    Platform::ByteBuffer u;
    Platform::ByteBuffer v;
};

/// The content key where the agreement is direct, else the key that wraps it.
/// @throws Platform::SecurityError when the key store fails.
Platform::SecretBuffer agreedKey(const Platform::SecKey& own, const Platform::SecKey& peer,
                                 KeyManagementAlgorithm algorithm, ContentEncryptionAlgorithm encryption,
                                 const PartyInfo& info);

}  // namespace JOSE
