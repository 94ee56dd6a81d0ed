// JWK Sets: lists of JWKs as one JSON text (RFC 7517, section 5).
//
//     const auto set = Torvane::JOSE::JWKSet::initFrom(R"({"keys":[]})");
#pragma once

#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/jwk.hpp"

namespace Torvane::JOSE {

/// JWKs of any "kty", in order. A set that was moved from is empty.
class TORVANE_EXPORT JWKSet {
  public:
    /// Takes the keys as they are. The JSON text of the set has the public members only, even for JWKs that were read
    /// as private keys.
    explicit JWKSet(std::vector<JWK> keys) noexcept : keys_(std::move(keys)) {}

    /// @{
    /// Reads the public members of every key, as JWK::initFrom() does. One key that cannot be read fails the whole set.
    /// Applies the limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSESwiftError parsingFailed for text that is not a JSON object with a list "keys" of objects, and as
    ///         JWK::initFrom().
    [[nodiscard]] static JWKSet initFrom(ByteView json, const Limits& limits = {});
    [[nodiscard]] static JWKSet initFrom(const TextLike auto& json, const Limits& limits = {}) {
        return initFrom(asBytes(json), limits);
    }
    /// @}

    /// The keys, in the order in which they were given or read.
    [[nodiscard]] const std::vector<JWK>& keys() const noexcept { return keys_; }

    /// The set as JSON text.
    /// @throws JSONError when a member is not UTF-8.
    [[nodiscard]] ByteBuffer jsonData() const;

  private:
    std::vector<JWK> keys_;
};

}  // namespace Torvane::JOSE
