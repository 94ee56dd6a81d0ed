// Description of a compact token, well-formed or not. Nothing here verifies or decrypts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

struct TokenPart {
    std::string_view name;
    /// Nothing if the part is not base64url.
    std::optional<Torvane::ByteBuffer> bytes;
};

/// The payload of a JWS, or the plaintext of a JWE.
struct PayloadView {
    std::size_t size = 0;
    /// Set if the payload is a JSON object.
    std::optional<Torvane::JSONValue::Object> claims;
    /// Set if the payload is other UTF-8 text.
    std::optional<std::string> text;
    /// Set if the payload is not text.
    std::optional<Torvane::ByteBuffer> bytes;
};

struct TokenView {
    bool isEncrypted = false;
    /// Of the whole token, in characters.
    std::size_t length = 0;
    std::vector<TokenPart> parts;
    std::optional<Torvane::JSONValue::Object> header;
    /// Whether a part is not base64url, or the header is not a JSON object.
    bool isMalformed = false;
    std::vector<std::string> warnings;

    /// A string member of the header; empty if there is none.
    std::string readHeaderMember(std::string_view name) const;
    /// The payload of a JWS; null for a JWE, or if the part is not base64url.
    const Torvane::ByteBuffer* payload() const noexcept;
};

/// Splits and decodes a token of 3 (JWS) or 5 (JWE) parts, and collects warnings.
/// @throws Failure for any other number of parts.
TokenView parseToken(std::string_view token);

/// Why the signature of a JWS cannot have the size that it has; empty if it has the size of its algorithm, or if only
/// the key tells the size (RSA).
std::string explainSignatureSize(const TokenView& view);

/// Whether a payload looks like a token itself.
bool looksLikeToken(Torvane::ByteView bytes);

/// Whether white space stands around what looks like a token.
bool looksLikeTokenInSpace(Torvane::ByteView bytes);

/// The hint for a token that was encrypted with the line break after it.
inline constexpr auto removeSpace =
    "There is a token between white space: the sender must encrypt it without a line break.";

PayloadView parsePayload(Torvane::ByteView bytes);

/// Why a payload that begins as a JSON object is none, such as a duplicate name; empty for any other payload.
std::string explainUnreadableClaims(Torvane::ByteView payload);

/// The time of "exp", "nbf" or "iat", or of "auth_time" or "updated_at" of OpenID Connect, in words; empty for any
/// other member, and for a value that is not a time.
std::string describeTime(const std::string& name, const Torvane::JSONValue& value, double now);

struct TimeWarning {
    std::string_view claim;
    std::string text;
    /// Whether it says what a policy would say, too.
    bool isRule;
};

/// Warnings of a token that has expired, is not valid yet, or was issued in the future, and of times that are not
/// seconds.
std::vector<TimeWarning> findTimeWarnings(const Torvane::JSONValue::Object& claims, double now);

}  // namespace Command
