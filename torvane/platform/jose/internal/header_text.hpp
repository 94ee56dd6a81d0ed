// The header of a token that is made here, as JSON text.
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/header.hpp"

namespace Torvane::JOSE {

/// The header as JSON text.
/// @throws JOSESwiftError parsingFailed when its "jwk" is an object with a private member: everybody can read a header.
ByteBuffer makeHeaderText(const Header& header);

}  // namespace Torvane::JOSE
