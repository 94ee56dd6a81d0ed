// The JSON text of a JWK Set (RFC 7517, section 5).
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// Parses the text. Applies jsonDepth and jsonMembers.
/// @throws JOSESwiftError parsingFailed when it is not JSON.
SecretJSON parseJWKSet(ByteView text, const Limits& limits);

/// The elements of "keys".
/// @throws JOSESwiftError parsingFailed when the set is not an object with a list "keys".
const JSONValue::List& requireKeyList(const JSONValue& set);

/// The members of an element.
/// @throws JOSESwiftError parsingFailed when it is not an object.
const JSONValue::Object& requireKeyMembers(const JSONValue& key);

}  // namespace Torvane::JOSE
