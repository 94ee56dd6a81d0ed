// JWTClaims, the claims set of a JSON Web Token (RFC 7519, section 4).
//
//     Torvane::JWTClaims claims;
//     claims.setIssuer("app").setAudience("bank").setExpirationTimeSecondsInTheFuture(300).setGeneratedJwtId();
//     claims.setClaim(Torvane::ReservedClaimNames::TYPE, "transfer").setClaim("amount", 12.5);
//     const std::string text = claims.toJsonString();
//
//     const auto received = Torvane::fromJsonString<Torvane::JWTClaims>(text);
//     std::cout << received.getClaimValue<double>("amount") << ", until " << received.getExpirationTime() << '\n';
//
// A claims set does not judge its claims: ClaimsPolicy does.
#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/clock.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/support/json_object.hpp"

namespace Torvane {

/// The registered claim names (RFC 7519, section 4.1), and "typ".
struct ReservedClaimNames {
    ReservedClaimNames() = delete;

    /// The party that made the token.
    static constexpr std::string_view ISSUER = "iss";
    /// The party that the token is about.
    static constexpr std::string_view SUBJECT = "sub";
    /// The recipients; anybody else has to reject the token.
    static constexpr std::string_view AUDIENCE = "aud";
    /// The time from which the token has to be rejected, in seconds since 1970.
    static constexpr std::string_view EXPIRATION_TIME = "exp";
    /// The time before which the token has to be rejected, in seconds since 1970.
    static constexpr std::string_view NOT_BEFORE = "nbf";
    /// The time at which the token was made, in seconds since 1970.
    static constexpr std::string_view ISSUED_AT = "iat";
    /// The token's own id, by which a replayed token is recognised.
    static constexpr std::string_view JWT_ID = "jti";
    /// The kind of message, as both sides have agreed; not registered as a claim.
    static constexpr std::string_view TYPE = "typ";
};

/// The claims of one token, by name. Setters accept any value, replace an earlier one of the same name, and return the
/// claims set itself, so that calls chain. Times are seconds since 1970 as doubles, with their fraction. Getters throw
/// JOSEError: claimNotFoundInJWT for a missing claim, malformedClaim for a claim of another type (getAudience() throws
/// claimNotFoundInJWT for both). Getters whose name ends in TimePoint return the clock's first or last time for a
/// number of seconds that it cannot hold.
///
/// A claims set can be moved, for example returned from a function or kept in a vector; a moved-from one is empty. It
/// is copied by copy() only. It must not be changed from two threads at once.
class TORVANE_EXPORT JWTClaims : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    JWTClaims() = default;
    /// Moves the claims in without checking them. fromJsonString<JWTClaims>() reads a claims set from JSON text.
    explicit JWTClaims(JSONValue::Object dict) noexcept : claimsMap_(std::move(dict)) {}

    /// @{
    /// Leaves the other claims set empty.
    JWTClaims(JWTClaims&& other) noexcept : claimsMap_(std::exchange(other.claimsMap_, {})) {}
    JWTClaims& operator=(JWTClaims&& other) noexcept {
        claimsMap_ = std::exchange(other.claimsMap_, {});
        return *this;
    }
    /// @}
    ~JWTClaims() override = default;
    /// A second claims set with the same claims.
    [[nodiscard]] JWTClaims copy() const { return JWTClaims(claimsMap_); }

    /// A copy of all claims.
    [[nodiscard]] JSONValue::Object toDictionary() const override { return claimsMap_; }
    /// A copy of all claims, as toDictionary() returns it.
    [[nodiscard]] JSONValue::Object getClaims() const { return claimsMap_; }

    /// Sets "iss", the party that makes the token.
    JWTClaims& setIssuer(std::string_view issuer) TORVANE_LIFETIMEBOUND;
    /// "iss", the party that made the token.
    [[nodiscard]] std::string getIssuer() const;

    /// Sets "sub", the party that the token is about.
    JWTClaims& setSubject(std::string_view subject) TORVANE_LIFETIMEBOUND;
    /// "sub", the party that the token is about.
    [[nodiscard]] std::string getSubject() const;

    /// @{
    /// Sets "aud", the recipients. Always stored as a list, even of 0 or 1 names.
    JWTClaims& setAudience(const std::vector<std::string>& audience) TORVANE_LIFETIMEBOUND;
    template <std::convertible_to<std::string_view>... Names>
    JWTClaims& setAudience(const Names&... names) TORVANE_LIFETIMEBOUND {
        return setAudience(std::vector<std::string>{std::string(std::string_view(names))...});
    }
    /// @}
    /// "aud", the recipients. A string that is not in a list counts as a list of one (RFC 7519, section 4.1.3).
    /// @throws JOSEError claimNotFoundInJWT when "aud" is missing, or is neither a string nor a list of strings.
    [[nodiscard]] std::vector<std::string> getAudience() const;

    /// @{
    /// Sets "exp", the time from which the token has to be rejected.
    JWTClaims& setExpirationTime(double secondsSince1970) TORVANE_LIFETIMEBOUND;
    JWTClaims& setExpirationTime(std::chrono::system_clock::time_point time) TORVANE_LIFETIMEBOUND {
        return setExpirationTime(toSeconds(time));
    }
    /// @}
    /// @{
    /// Sets "exp" to the system clock's time plus a duration.
    JWTClaims& setExpirationTimeSecondsInTheFuture(double seconds) TORVANE_LIFETIMEBOUND;
    JWTClaims& setExpirationTimeInTheFuture(std::chrono::duration<double> lifetime) TORVANE_LIFETIMEBOUND {
        return setExpirationTimeSecondsInTheFuture(lifetime.count());
    }
    /// @}
    /// @{
    /// "exp", in seconds since 1970, or as a time. It may have passed already.
    [[nodiscard]] double getExpirationTime() const;
    [[nodiscard]] std::chrono::system_clock::time_point getExpirationTimePoint() const {
        return toTime(getExpirationTime());
    }
    /// @}

    /// @{
    /// Sets "nbf", the time before which the token has to be rejected.
    JWTClaims& setNotBefore(double secondsSince1970) TORVANE_LIFETIMEBOUND;
    JWTClaims& setNotBefore(std::chrono::system_clock::time_point time) TORVANE_LIFETIMEBOUND {
        return setNotBefore(toSeconds(time));
    }
    /// @}
    /// Sets "nbf" to the system clock's time minus a number of seconds, for peers whose clocks are slow.
    JWTClaims& setNotBeforeSecondsInThePast(double seconds) TORVANE_LIFETIMEBOUND;
    /// @{
    /// "nbf", in seconds since 1970, or as a time. It may still lie ahead.
    [[nodiscard]] double getNotBefore() const;
    [[nodiscard]] std::chrono::system_clock::time_point getNotBeforeTimePoint() const { return toTime(getNotBefore()); }
    /// @}

    /// @{
    /// Sets "iat", the time at which the token is made.
    JWTClaims& setIssuedAt(double secondsSince1970) TORVANE_LIFETIMEBOUND;
    JWTClaims& setIssuedAt(std::chrono::system_clock::time_point time) TORVANE_LIFETIMEBOUND {
        return setIssuedAt(toSeconds(time));
    }
    /// @}
    /// Sets "iat" to the system clock's time.
    JWTClaims& setIssuedAtToNow() TORVANE_LIFETIMEBOUND;
    /// @{
    /// "iat", in seconds since 1970, or as a time.
    [[nodiscard]] double getIssuedAt() const;
    [[nodiscard]] std::chrono::system_clock::time_point getIssuedAtTimePoint() const { return toTime(getIssuedAt()); }
    /// @}

    /// Sets "jti", the token's own id.
    JWTClaims& setJwtId(std::string_view jwtId) TORVANE_LIFETIMEBOUND;
    /// Sets "jti" to `count` random bytes in standard base64; 16 bytes give 24 characters. A failure of the random
    /// source aborts the process.
    /// @throws std::bad_alloc or std::length_error when memory cannot hold that many bytes.
    JWTClaims& setGeneratedJwtId(std::size_t count = 16) TORVANE_LIFETIMEBOUND;
    /// "jti", the token's own id.
    [[nodiscard]] std::string getJwtId() const;

    /// Sets a claim of any name. A value that is not JSON is accepted here and rejected by toJsonString().
    JWTClaims& setClaim(std::string_view name, JSONValue value) TORVANE_LIFETIMEBOUND;
    /// The same with the value first. Prefer setClaim(): when both are strings, swapped arguments compile as well.
    JWTClaims& setClaimValue(JSONValue value, std::string_view forName) TORVANE_LIFETIMEBOUND;
    /// A claim of any name, converted by JSONValue::to<T>(). T is std::string, double, std::int64_t, bool, std::vector
    /// of std::string or JSONValue, JSONValue::List, JSONValue::Object, or JSONValue for any claim.
    /// @throws JOSEError claimNotFoundInJWT for a missing claim; malformedClaim when it does not convert to T.
    template <class T>
    [[nodiscard]] T getClaimValue(std::string_view forName) const;
    /// Removes the claim; no effect when it is missing.
    JWTClaims& unsetClaim(std::string_view withName) TORVANE_LIFETIMEBOUND;
    /// Whether there is a claim with this name, even one whose value is null.
    [[nodiscard]] bool hasClaim(std::string_view withName) const noexcept;
    /// Overwrites the texts of all values with zeros, and removes all claims: for claims that were encrypted.
    void wipe() noexcept {
        for (auto& [name, value] : claimsMap_) wipeStrings(value);
        claimsMap_.clear();
    }
    /// The claim's value; null when it is missing. Valid until the claims change.
    [[nodiscard]] const JSONValue* findClaim(std::string_view name) const noexcept TORVANE_LIFETIMEBOUND;

  private:
    /// @throws JOSEError claimNotFoundInJWT when it is missing.
    [[nodiscard]] const JSONValue& claim(std::string_view name) const;
    [[noreturn]] static void rejectType(std::string_view name, const JSONValue& value, std::string_view expectedType);

    JSONValue::Object claimsMap_;
};

namespace ClaimTypes {

// The name of a type in the text of malformedClaim; empty for types that getClaimValue() does not support.
template <class T>
inline constexpr std::string_view name;
template <>
inline constexpr std::string_view name<std::string> = "String";
template <>
inline constexpr std::string_view name<double> = "Double";
template <>
inline constexpr std::string_view name<std::int64_t> = "Int";
template <>
inline constexpr std::string_view name<bool> = "Bool";
template <>
inline constexpr std::string_view name<std::vector<std::string>> = "Array";
template <>
inline constexpr std::string_view name<JSONValue::List> = "Array";
template <>
inline constexpr std::string_view name<std::vector<JSONValue>> = "Array";
template <>
inline constexpr std::string_view name<JSONValue::Object> = "Dictionary";
template <>
inline constexpr std::string_view name<JSONValue> = "Any";

}  // namespace ClaimTypes

template <class T>
T JWTClaims::getClaimValue(std::string_view forName) const {
    static_assert(!ClaimTypes::name<T>.empty(),
                  "A claim is read as std::string, double, std::int64_t, bool, JSONValue::List, "
                  "JSONValue::Object, JSONValue, or std::vector of std::string or JSONValue.");
    const auto& value = claim(forName);
    auto converted = value.to<T>();
    if (!converted) rejectType(forName, value, ClaimTypes::name<T>);
    return *std::move(converted);
}

}  // namespace Torvane
