#include "torvane/platform/jose/thumbprint.hpp"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/primitives/digest.hpp"

namespace Torvane::JOSE {
namespace {

// The members in the order in which they are hashed (RFC 7638, section 3.3).
constexpr std::array<std::string_view, 3> rsaMembers{"e", "kty", "n"};
constexpr std::array<std::string_view, 4> ecMembers{"crv", "kty", "x", "y"};

std::span<const std::string_view> selectMembers(const StringMap& jwk) {
    const auto keyType = jwk.find("kty");
    if (keyType != jwk.end() && keyType->second == "RSA") return rsaMembers;
    if (keyType != jwk.end() && keyType->second == "EC") return ecMembers;
    throw JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key.");
}

bool isWrittenInOneWay(char c) noexcept {
    return c >= ' ' && c <= '~' && c != '"' && c != '\\' && c != '/';
}

}  // namespace

std::string thumbprint(const StringMap& jwk, HashFunction hash) {
    std::string text;
    for (const auto name : selectMembers(jwk)) {
        const auto member = jwk.find(name);
        if (member == jwk.end() || !std::ranges::all_of(member->second, isWrittenInOneWay)) {
            throw JOSESwiftError::parsingFailed("The JWK's \"" + std::string(name) +
                                                "\" is missing or not plain text.");
        }
        text += text.empty() ? "{\"" : ",\"";
        text.append(name).append("\":\"").append(member->second).append("\"");
    }
    text += '}';
    return encodeBase64url(Crypto::digest(hash, asBytes(text)));
}

}  // namespace Torvane::JOSE
