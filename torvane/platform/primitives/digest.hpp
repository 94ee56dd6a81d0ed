// Digests, and HMAC over data that arrives in pieces.
#pragma once

#include <span>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The digest of one run of bytes.
ByteBuffer digest(HashFunction hash, ByteView data);

/// A digest of data that arrives in pieces, finished once.
class Digest {
  public:
    explicit Digest(HashFunction hash);

    void update(ByteView data);
    /// digestSize(hash) bytes.
    ByteBuffer finish();

  private:
    ErrorScope scope_;
    DigestContext context_;
    std::size_t size_;
};

/// HMAC (RFC 2104), fed in pieces and finished once, under an ErrorScope of the caller's.
class Hmac {
  public:
    Hmac(HashFunction hash, ByteView key);

    void update(ByteView data);
    /// digestSize(hash) bytes.
    SecretBuffer finish();

  private:
    MacContext context_;
    std::size_t size_;
};

/// Compares in a time that depends on the sizes alone.
bool equalInConstantTime(ByteView a, ByteView b) noexcept;

}  // namespace Torvane::Crypto
