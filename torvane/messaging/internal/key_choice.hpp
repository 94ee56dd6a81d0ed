// The choice of keys for TokenVerifier and NestedToken, which use keys of every kind.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/platform/jose/algorithms.hpp"

namespace Torvane {

/// @{
/// The keys of one class that can be used with the algorithm, in the order of the set: those that fit it, and whose
/// JWK does not forbid it by "use", "alg" or "key_ops" (RFC 7517, sections 4.2 to 4.4). A key for both uses is found.
/// @param keyId the "kid"; nothing to find keys of every id.
std::vector<JsonWebKey> chooseKeys(const JsonWebKeySet& set, JOSE::SignatureAlgorithm algorithm,
                                   const std::optional<std::string>& keyId, KeyClass keyClass);
std::vector<JsonWebKey> chooseKeys(const JsonWebKeySet& set, JOSE::KeyManagementAlgorithm algorithm,
                                   const std::optional<std::string>& keyId, KeyClass keyClass);
/// @}

}  // namespace Torvane
