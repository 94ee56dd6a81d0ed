// Key derivation and key wrapping: the Concat KDF (RFC 7518, section 4.6.2) and the AES key wrap (RFC 3394).
#pragma once

#include <cstddef>
#include <optional>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::Crypto {

/// The Concat KDF over SHA-256: derives `size` bytes of key from a shared secret and the other-info bytes.
SecretBuffer deriveKeyByConcatKdf(ByteView sharedSecret, ByteView otherInfo, std::size_t size);

/// Wraps a key whose size is a multiple of 8 bytes and at least 16, under a wrapping key of 16, 24 or 32 bytes. The
/// result is 8 bytes longer than the key.
ByteBuffer wrapKey(ByteView wrappingKey, ByteView key);

/// Reverses wrapKey(). Returns nothing when the wrapped bytes are not a key of exactly `size` bytes under this wrapping
/// key.
std::optional<SecretBuffer> unwrapKey(ByteView wrappingKey, ByteView wrapped, std::size_t size);

}  // namespace Torvane::Crypto
