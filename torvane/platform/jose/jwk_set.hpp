// JWK Sets (RFC 7517, section 5).
#pragma once

#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/jwk.hpp"

namespace Torvane::JOSE {

/// Public keys in their order, of any type.
class TORVANE_EXPORT JWKSet {
  public:
    /// A JWK that was read as a private key is written as its public half.
    explicit JWKSet(std::vector<JWK> keys) noexcept : keys_(std::move(keys)) {}

    /// Reads the public half of every key; one that cannot be read fails the whole set.
    /// @throws JOSESwiftError parsingFailed for text that is no JSON object with a list "keys" of objects, and as
    ///         JWK::initFrom for its keys.
    static JWKSet initFrom(ByteView data);

    /// In the order of the text.
    const std::vector<JWK>& keys() const noexcept { return keys_; }

    /// The set as JSON text.
    /// @throws JSONError when a member is not UTF-8.
    ByteBuffer jsonData() const;

  private:
    std::vector<JWK> keys_;
};

}  // namespace Torvane::JOSE
