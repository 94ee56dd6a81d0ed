#include "torvane/platform/jose/internal/header_text.hpp"

#include <algorithm>

#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/jwk.hpp"

namespace Torvane::JOSE {

ByteBuffer makeHeaderText(const Header& header) {
    const auto jwk = header.parameters().find("jwk");
    const auto* members = jwk == header.parameters().end() ? nullptr : jwk->second.as<JSONValue::Object>();
    if (members && std::ranges::any_of(*members, [](const auto& member) { return isPrivateMember(member.first); })) {
        throw JOSESwiftError::parsingFailed("The header's \"jwk\" holds a private key.");
    }
    return header.jsonData();
}

}  // namespace Torvane::JOSE
