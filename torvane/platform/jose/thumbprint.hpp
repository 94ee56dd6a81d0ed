// JWK thumbprints (RFC 7638): a hash of a key that every party computes alike, whatever else its JWK holds. Also as
// URIs (RFC 9278).
//
//     const std::string id = Torvane::JOSE::thumbprint({{"kty", "RSA"}, {"n", "AQAB"}, {"e", "AQAB"}});
#pragma once

#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// The thumbprint of a public or private JWK in base64url: 43 characters for SHA-256. Only the members that make up the
/// key count (RFC 7638, section 3.2): "e", "kty" and "n" of an RSA key; "crv", "kty", "x" and "y" of an EC key on any
/// curve, secp256k1 included.
/// @throws JOSESwiftError unsupportedKey for another "kty"; parsingFailed when one of these members is missing, or has
///         characters that JSON text can write in more than one way.
[[nodiscard]] TORVANE_EXPORT std::string thumbprint(const StringMap& jwk, HashFunction hash = HashFunction::SHA256);

/// The thumbprint as a URI (RFC 9278), which names the key where a protocol needs a URI, for example
/// "urn:ietf:params:oauth:jwk-thumbprint:sha-256:..." with thumbprint() at the end.
/// @throws JOSESwiftError unsupportedAlgorithm for SHA-1, which has no name there; otherwise as thumbprint().
[[nodiscard]] TORVANE_EXPORT std::string thumbprintURI(const StringMap& jwk, HashFunction hash = HashFunction::SHA256);

}  // namespace Torvane::JOSE
