// JWTClaims: the claims set of a JSON Web Token (RFC 7519, section 4), built and read.
//
//     Torvane::JWTClaims claims;
//     claims.setIssuer("app").setAudience("bank").setExpirationTimeSecondsInTheFuture(300).setGeneratedJwtId();
//     claims.setClaimValue("transfer", Torvane::ReservedClaimNames::TYPE);
//     std::string text = claims.toJsonString();
//
//     auto received = Torvane::fromJsonString<Torvane::JWTClaims>(text);
//     double expires = received.getExpirationTime();
//     auto type = received.getClaimValue<std::string>(Torvane::ReservedClaimNames::TYPE);
//
// A claims set has identity, and is not to be changed from two threads at once. It judges nothing: whether a token has
// expired, or is for somebody else, is for the reader to say.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/support/json_object.hpp"

namespace Torvane {

/// The registered claim names (RFC 7519, section 4.1), and "typ".
struct ReservedClaimNames {
    ReservedClaimNames() = delete;

    /// Who made the token.
    static constexpr std::string_view ISSUER = "iss";
    /// Whom it is about.
    static constexpr std::string_view SUBJECT = "sub";
    /// For whom it is: whoever is not among them has to refuse it.
    static constexpr std::string_view AUDIENCE = "aud";
    /// From when on it is to be refused, in seconds since 1970.
    static constexpr std::string_view EXPIRATION_TIME = "exp";
    /// Before when it is to be refused, in seconds since 1970.
    static constexpr std::string_view NOT_BEFORE = "nbf";
    /// When it was made, in seconds since 1970.
    static constexpr std::string_view ISSUED_AT = "iat";
    /// Its own id, by which a repeated one is known.
    static constexpr std::string_view JWT_ID = "jti";
    /// Not registered as a claim: what kind of message it is, as both sides agree.
    static constexpr std::string_view TYPE = "typ";
};

/// Setters replace what there was, never fail, and return the claims set. Times are seconds since 1970 with their
/// fraction. Getters throw JOSEError: claimNotFoundInJWT for a claim that is not there, malformedClaim for
/// one of another type.
class TORVANE_EXPORT JWTClaims : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    JWTClaims() = default;
    /// The claims as they are, none of them checked. fromJsonString<JWTClaims>() reads them from text.
    explicit JWTClaims(JSONValue::Object dict) noexcept : claimsMap_(std::move(dict)) {}

    JSONValue::Object toDictionary() const override { return claimsMap_; }
    /// All claims, copied, as toDictionary() gives them.
    JSONValue::Object getClaims() const { return claimsMap_; }

    /// "iss".
    JWTClaims& setIssuer(std::string_view issuer);
    /// "iss".
    std::string getIssuer() const;

    /// "sub".
    JWTClaims& setSubject(std::string_view subject);
    /// "sub".
    std::string getSubject() const;

    /// @{
    /// "aud". Always stored as a list, of one or none too.
    JWTClaims& setAudience(const std::vector<std::string>& audience);
    template <std::convertible_to<std::string_view>... Names>
    JWTClaims& setAudience(const Names&... names) {
        return setAudience(std::vector<std::string>{std::string(std::string_view(names))...});
    }
    /// @}
    /// A lone string counts as a list of one (RFC 7519, section 4.1.3).
    /// @throws JOSEError claimNotFoundInJWT, for an "aud" of another type too.
    std::vector<std::string> getAudience() const;

    /// "exp".
    JWTClaims& setExpirationTime(double secondsSince1970);
    /// "exp", so many seconds from now by the wall clock.
    JWTClaims& setExpirationTimeSecondsInTheFuture(double seconds);
    /// "exp".
    double getExpirationTime() const;

    /// "nbf".
    JWTClaims& setNotBefore(double secondsSince1970);
    /// "nbf", so many seconds before now: room for a peer whose clock is late.
    JWTClaims& setNotBeforeSecondsInThePast(double seconds);
    /// "nbf".
    double getNotBefore() const;

    /// "iat".
    JWTClaims& setIssuedAt(double secondsSince1970);
    /// "iat", by the wall clock.
    JWTClaims& setIssuedAtToNow();
    /// "iat".
    double getIssuedAt() const;

    /// "jti".
    JWTClaims& setJwtId(std::string_view jwtId);
    /// Standard base64 of `count` random bytes: 24 characters for 16. A failing random source stops the process; a
    /// count that memory cannot hold throws what the allocator throws.
    JWTClaims& setGeneratedJwtId(std::size_t count = 16);
    /// "jti".
    std::string getJwtId() const;

    /// Any claim; a value that is not JSON is refused by toJsonString().
    JWTClaims& setClaimValue(JSONValue value, std::string_view forName);
    /// A claim of any name as std::string, double, std::int64_t, bool, std::vector<std::string>, JSONValue::List,
    /// JSONValue::Object, or whatever it is as JSONValue; converted as JSONValue::to() does.
    template <class T>
    T getClaimValue(std::string_view forName) const;
    /// Takes the claim away, if it is there.
    JWTClaims& unsetClaim(std::string_view withName);
    /// Whether there is a claim of that name; null is one.
    bool hasClaim(std::string_view withName) const noexcept;

  private:
    /// @throws JOSEError claimNotFoundInJWT when there is none.
    const JSONValue& claim(std::string_view name) const;
    [[noreturn]] static void refuse(std::string_view name, const JSONValue& value, std::string_view expectedType);

    JSONValue::Object claimsMap_;
};

namespace ClaimTypes {

// What a type is called in the text of malformedClaim; empty for a type that no claim is read as.
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
inline constexpr std::string_view name<JSONValue::Object> = "Dictionary";
template <>
inline constexpr std::string_view name<JSONValue> = "Any";

}  // namespace ClaimTypes

template <class T>
T JWTClaims::getClaimValue(std::string_view forName) const {
    static_assert(!ClaimTypes::name<T>.empty(),
                  "A claim is read as std::string, double, std::int64_t, bool, std::vector<std::string>, "
                  "JSONValue::List, JSONValue::Object or JSONValue.");
    const auto& value = claim(forName);
    auto converted = value.to<T>();
    if (!converted) refuse(forName, value, ClaimTypes::name<T>);
    return *std::move(converted);
}

}  // namespace Torvane
