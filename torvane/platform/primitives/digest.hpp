// Digests (SHA-1 and SHA-2), HMAC, and comparison in constant time.
#pragma once

#include <cstddef>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The digest of the data: digestSize(hash) bytes.
ByteBuffer digest(HashFunction hash, ByteView data);

/// Digest of data that arrives in chunks. Holds an ErrorScope, so it has to be destroyed in the thread that made it.
class Digest {
  public:
    explicit Digest(HashFunction hash);

    void update(ByteView data);
    /// Returns digestSize(hash) bytes. Nothing may be called afterwards.
    ByteBuffer finish();

  private:
    ErrorScope scope_;
    DigestContext context_;
    std::size_t size_;
};

/// HMAC (RFC 2104) of data that arrives in chunks. The caller holds the ErrorScope.
class Hmac {
  public:
    Hmac(HashFunction hash, ByteView key);

    void update(ByteView data);
    /// Returns digestSize(hash) bytes. Nothing may be called afterwards.
    SecretBuffer finish();

  private:
    MacContext context_;
    std::size_t size_;
};

/// Compares in a time that depends only on the sizes.
bool equalInConstantTime(ByteView a, ByteView b) noexcept;

}  // namespace Torvane::Crypto
