// ClaimsPolicy, the rules by which a received token's claims are accepted (RFC 7519, section 4.1, and RFC 8725).
//
//     const auto policy = Torvane::ClaimsPolicy()
//                             .requireIssuer("https://id.example")
//                             .requireAudience("https://api.example")
//                             .requireType("at+jwt")
//                             .setLeeway(std::chrono::seconds(30));
//     const Torvane::JWTClaims claims = policy.readClaims(payload, header);  // throws ClaimsError
//
// What a policy is not to check has to be named: one that names neither issuers nor allowAnyIssuer() rejects every
// token, and so for audiences and "exp".
#pragma once

#include <chrono>
#include <concepts>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "torvane/jwt/claims_error.hpp"
#include "torvane/jwt/jwt_claims.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// Which claims a received token must have. The setters return the policy itself, so that calls chain. check() may be
/// called from several threads at once, as far as the clock and the replay check may.
class TORVANE_EXPORT ClaimsPolicy {
  public:
    /// A time of the clock with which "exp", "nbf" and "iat" are compared.
    using Time = std::chrono::system_clock::time_point;
    /// Remembers a token until the given time, from which on the policy rejects it anyway. Returns whether it was new.
    /// An issuer and its "jti" are unique together.
    using ReplayCheck = std::function<bool(const JWTClaims& claims, Time until)>;

    ClaimsPolicy() = default;

    /// @{
    /// "iss" must be one of these, compared exactly. Each call replaces the names of an earlier one.
    ClaimsPolicy& requireIssuer(std::vector<std::string> anyOf) TORVANE_LIFETIMEBOUND;
    template <std::convertible_to<std::string_view>... Names>
    ClaimsPolicy& requireIssuer(const Names&... anyOf) TORVANE_LIFETIMEBOUND {
        return requireIssuer(std::vector<std::string>{std::string(std::string_view(anyOf))...});
    }
    /// @}
    /// Accepts any issuer, and none.
    ClaimsPolicy& allowAnyIssuer() TORVANE_LIFETIMEBOUND;

    /// @{
    /// "aud" must be, or contain, one of these, compared exactly: the names by which senders know the application. Each
    /// call replaces the names of an earlier one.
    ClaimsPolicy& requireAudience(std::vector<std::string> anyOf) TORVANE_LIFETIMEBOUND;
    template <std::convertible_to<std::string_view>... Names>
    ClaimsPolicy& requireAudience(const Names&... anyOf) TORVANE_LIFETIMEBOUND {
        return requireAudience(std::vector<std::string>{std::string(std::string_view(anyOf))...});
    }
    /// @}
    /// Accepts tokens for any audience, and for none. Somebody may forward such a token to the application.
    ClaimsPolicy& allowAnyAudience() TORVANE_LIFETIMEBOUND;

    /// "sub" must be this one, compared exactly. Any subject, and none, unless set.
    ClaimsPolicy& requireSubject(std::string_view subject) TORVANE_LIFETIMEBOUND;
    /// The claim must be there, and not be null. For the application's own claims, "sub", "jti", "nbf" or "iat".
    ClaimsPolicy& requireClaim(std::string_view name) TORVANE_LIFETIMEBOUND;

    /// Accepts tokens without "exp". One that is there is checked all the same.
    ClaimsPolicy& allowNoExpiry() TORVANE_LIFETIMEBOUND;
    /// How far the sender's clock may be off: 0 s unless set, and at most 100 years. It is added to "exp" and the
    /// maximum age, and subtracted from "nbf" and "iat". A negative time counts as 0 s.
    ClaimsPolicy& setLeeway(std::chrono::seconds leeway) TORVANE_LIFETIMEBOUND;
    /// From which age on, counted from "iat", a token is rejected: 0 s to 100 years. A token without "iat", or with one
    /// that lies ahead, is then rejected. Any age unless set.
    ClaimsPolicy& setMaximumAge(std::chrono::seconds age) TORVANE_LIFETIMEBOUND;
    /// The clock; std::chrono::system_clock unless set, and for an empty function.
    ClaimsPolicy& setClock(std::function<Time()> clock) TORVANE_LIFETIMEBOUND;

    /// "typ" in the token's header must be this media type, for example "at+jwt" (RFC 8725, section 3.11). Case and the
    /// prefix "application/" are not compared (RFC 7515, section 4.1.9). Unless set, "typ" must be "JWT" or missing, so
    /// that a token of another kind is not taken for one of this kind.
    ClaimsPolicy& requireType(std::string_view mediaType) TORVANE_LIFETIMEBOUND;
    /// Accepts any "typ", and none.
    ClaimsPolicy& allowAnyType() TORVANE_LIFETIMEBOUND;

    /// Called once for each token that passes all other rules, last. Tokens must have "jti" then.
    ClaimsPolicy& setReplayCheck(ReplayCheck check) TORVANE_LIFETIMEBOUND;

    /// Checks the claims of a token whose signature has been verified.
    /// @param claims of the token.
    /// @param type "typ" of its header; nothing when there is none.
    /// @throws ClaimsError when the policy does not accept them; whatever the clock or the replay check throws.
    void check(const JWTClaims& claims, std::optional<std::string_view> type) const;
    /// @{
    /// Reads the claims of a payload whose signature has been verified, and checks them.
    /// @param payload the claims as JSON text.
    /// @param header of the token. Its "typ" is checked; one that is not text is wrong, unless any type is accepted.
    /// @param limits jsonDepth and jsonMembers.
    /// @throws ClaimsError malformed when the payload is not a JSON object; and as check().
    [[nodiscard]] JWTClaims readClaims(ByteView payload, const JSONValue::Object& header,
                                       const Limits& limits = {}) const;
    [[nodiscard]] JWTClaims readClaims(const TextLike auto& payload, const JSONValue::Object& header,
                                       const Limits& limits = {}) const {
        return readClaims(asBytes(payload), header, limits);
    }
    /// @}

  private:
    void checkType(std::optional<std::string_view> type) const;
    void checkNames(const JWTClaims& claims) const;
    /// Returns the time from which the policy rejects the token.
    [[nodiscard]] Time checkTimes(const JWTClaims& claims) const;

    std::optional<std::vector<std::string>> issuers_ = std::vector<std::string>();
    std::optional<std::vector<std::string>> audiences_ = std::vector<std::string>();
    std::optional<std::string> subject_;
    std::vector<std::string> required_;
    bool needsExpiry_ = true;
    std::chrono::seconds leeway_{0};
    std::optional<std::chrono::seconds> maximumAge_;
    std::function<Time()> clock_ = std::chrono::system_clock::now;
    std::optional<std::string> type_;
    bool allowsAnyType_ = false;
    ReplayCheck replayCheck_;
};

}  // namespace Torvane
