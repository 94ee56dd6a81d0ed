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

#include "torvane/support/json_object.hpp"
#include "torvane/support/vocabulary.hpp"

namespace Torvane {

/// The registered claim names (RFC 7519, section 4.1), and "typ".
struct ReservedClaimNames {
    ReservedClaimNames() = delete;

    static constexpr std::string_view ISSUER = "iss";
    static constexpr std::string_view SUBJECT = "sub";
    static constexpr std::string_view AUDIENCE = "aud";
    static constexpr std::string_view EXPIRATION_TIME = "exp";
    static constexpr std::string_view NOT_BEFORE = "nbf";
    static constexpr std::string_view ISSUED_AT = "iat";
    static constexpr std::string_view JWT_ID = "jti";
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
    JSONValue::Object getClaims() const { return claimsMap_; }

    JWTClaims& setIssuer(std::string_view issuer);
    std::string getIssuer() const;

    JWTClaims& setSubject(std::string_view subject);
    std::string getSubject() const;

    /// Always stored as a list, of one or none too.
    JWTClaims& setAudience(const std::vector<std::string>& audience);
    template <std::convertible_to<std::string_view>... Names>
    JWTClaims& setAudience(const Names&... names) {
        return setAudience(std::vector<std::string>{std::string(std::string_view(names))...});
    }
    /// A lone string counts as a list of one (RFC 7519, section 4.1.3).
    /// @throws JOSEError claimNotFoundInJWT, for an "aud" of another type too.
    std::vector<std::string> getAudience() const;

    JWTClaims& setExpirationTime(double secondsSince1970);
    JWTClaims& setExpirationTimeSecondsInTheFuture(double seconds);
    double getExpirationTime() const;

    JWTClaims& setNotBefore(double secondsSince1970);
    JWTClaims& setNotBeforeSecondsInThePast(double seconds);
    double getNotBefore() const;

    JWTClaims& setIssuedAt(double secondsSince1970);
    JWTClaims& setIssuedAtToNow();
    double getIssuedAt() const;

    JWTClaims& setJwtId(std::string_view jwtId);
    /// Standard base64 of `count` random bytes: 24 characters for 16. A failing random source stops the process; a
    /// count that memory cannot hold throws what the allocator throws.
    JWTClaims& setGeneratedJwtId(std::size_t count = 16);
    std::string getJwtId() const;

    JWTClaims& setClaimValue(JSONValue value, std::string_view forName);
    /// A claim of any name as std::string, double, std::int64_t, bool, std::vector<std::string>, JSONValue::List,
    /// JSONValue::Object, or whatever it is as JSONValue; converted as JSONValue::to() does.
    template <class T>
    T getClaimValue(std::string_view forName) const;
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
