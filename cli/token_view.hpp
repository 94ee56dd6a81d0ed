// A compact token taken apart for looking at, however malformed it is. Nothing here is verified.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/platform/core/bytes.hpp>
#include <torvane/platform/encodings/json_value.hpp>
#include <vector>

namespace Command {

struct TokenPart {
    std::string_view name;
    /// Nothing for a part that is not base64url.
    std::optional<Torvane::ByteBuffer> bytes;
};

/// The payload of a JWS, or what a JWE held.
struct PayloadView {
    std::size_t size = 0;
    /// A JSON object is taken for a claims set.
    std::optional<Torvane::JSONValue::Object> claims;
    /// Any other text.
    std::optional<std::string> text;
};

struct TokenView {
    bool isEncrypted = false;
    std::size_t length = 0;
    std::vector<TokenPart> parts;
    std::optional<Torvane::JSONValue::Object> header;
    /// Whether a part is not base64url, or the header no JSON object.
    bool isMalformed = false;
    std::vector<std::string> warnings;

    /// A string of the header; empty where there is none.
    std::string headerMember(std::string_view name) const;
    /// Of a JWS, where its part is base64url.
    const Torvane::ByteBuffer* payload() const noexcept;
};

/// @throws Failure for a text that is in neither three nor five parts.
TokenView viewOfToken(std::string_view token);

/// Whether a payload looks like a token itself.
bool looksLikeToken(Torvane::ByteView bytes) noexcept;

PayloadView viewOfPayload(Torvane::ByteView bytes);

/// The time of "exp", "nbf" or "iat" in words; empty for any other member.
std::string timeOfClaim(const std::string& name, const Torvane::JSONValue& value, double now);

/// What the claims' times say against the token.
std::vector<std::string> warningsOf(const Torvane::JSONValue::Object& claims, double now);

}  // namespace Command
