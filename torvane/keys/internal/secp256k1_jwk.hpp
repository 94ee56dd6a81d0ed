// secp256k1 keys of JWKs (RFC 8812, section 3.1).
#pragma once

#include <optional>

#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane {

/// Whether "crv" is secp256k1.
bool isSecp256k1JWK(const JSONValue::Object& members) noexcept;

/// The point of "x" and "y"; nothing unless each is 32 bytes in base64url, and they are a point of the curve.
std::optional<Zennet::PublicKey> readSecp256k1Point(const JSONValue::Object& members);

/// The scalar "d"; nothing when it is missing or not base64url.
std::optional<SecretBuffer> readSecp256k1Scalar(const JSONValue::Object& members);

}  // namespace Torvane
