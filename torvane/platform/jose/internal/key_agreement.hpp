// Key agreement by ECDH-ES (RFC 7518, section 4.6).
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// The header's "apu" and "apv", decoded; empty when the header has none.
struct PartyInfo {
    ByteBuffer u;
    ByteBuffer v;
};

/// Derives the content encryption key under ECDH-ES itself, otherwise the key that wraps it.
/// @throws SecurityError, or whatever an application's key store throws, when the key store fails.
SecretBuffer agreeOnKey(const SecKey& own, const SecKey& peer, KeyManagementAlgorithm algorithm,
                        ContentEncryptionAlgorithm encryption, const PartyInfo& info);

}  // namespace Torvane::JOSE
