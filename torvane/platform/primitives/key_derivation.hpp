// Keys out of keys: the Concat KDF (RFC 7518, section 4.6.2) and the AES key wrap (RFC 3394).
#pragma once

#include <optional>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::Crypto {

/// The Concat KDF over SHA-256: `size` bytes of key from a shared secret and the other-info bytes.
SecretBuffer concatKdf(ByteView sharedSecret, ByteView otherInfo, std::size_t size);

/// Wraps a key of a multiple of 8 bytes, at least 16, under one of 16, 24 or 32 bytes; the result is 8 bytes longer.
ByteBuffer wrapKey(ByteView wrappingKey, ByteView key);

/// Nothing when the wrapped bytes are not a key of `size` bytes under this wrapping key.
std::optional<SecretBuffer> unwrapKey(ByteView wrappingKey, ByteView wrapped, std::size_t size);

}  // namespace Torvane::Crypto
