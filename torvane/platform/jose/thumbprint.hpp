// JWK thumbprints (RFC 7638): what two parties compute alike of one key, however its JWK is written.
#pragma once

#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// The thumbprint of a public or private JWK in base64url: 43 characters for SHA-256. Only the members that make the
/// key count (RFC 7638, section 3.2): "e", "kty" and "n" of an RSA key; "crv", "kty", "x" and "y" of an EC key on any
/// curve.
/// @throws JOSESwiftError unsupportedKey for another "kty"; parsingFailed for one of these members that is missing, or
///         that holds characters which JSON text may write in more than one way.
TORVANE_EXPORT std::string thumbprint(const StringMap& jwk, HashFunction hash = HashFunction::SHA256);

}  // namespace Torvane::JOSE
