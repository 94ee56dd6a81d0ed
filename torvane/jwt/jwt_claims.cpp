#include "torvane/jwt/jwt_claims.hpp"

#include <any>
#include <type_traits>
#include <variant>

#include "torvane/platform/core/random.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {
namespace {

std::string_view describeType(const JSONValue& value) {
    return value.visit([]<class T>(const T&) -> std::string_view {
        if constexpr (std::is_same_v<T, std::monostate>) {
            return "Null";
        } else if constexpr (std::is_same_v<T, std::any>) {
            return "Any";
        } else {
            return ClaimTypes::name<T>;
        }
    });
}

}  // namespace

const JSONValue* JWTClaims::findClaim(std::string_view name) const noexcept {
    const auto found = claimsMap_.find(name);
    return found == claimsMap_.end() ? nullptr : &found->second;
}

const JSONValue& JWTClaims::claim(std::string_view name) const {
    const auto* found = findClaim(name);
    if (found == nullptr) throw JOSEError::claimNotFoundInJWT(std::string(name));
    return *found;
}

void JWTClaims::rejectType(std::string_view name, const JSONValue& value, std::string_view expectedType) {
    throw JOSEError::malformedClaim("Type of claim " + std::string(name) + " is " + std::string(describeType(value)) +
                                    ", expected type is " + std::string(expectedType) + ".Type");
}

JWTClaims& JWTClaims::setClaim(std::string_view name, JSONValue value) {
    claimsMap_.insert_or_assign(std::string(name), std::move(value));
    return *this;
}

JWTClaims& JWTClaims::setClaimValue(JSONValue value, std::string_view forName) {
    return setClaim(forName, std::move(value));
}

JWTClaims& JWTClaims::unsetClaim(std::string_view withName) {
    if (const auto found = claimsMap_.find(withName); found != claimsMap_.end()) claimsMap_.erase(found);
    return *this;
}

bool JWTClaims::hasClaim(std::string_view withName) const noexcept {
    return claimsMap_.contains(withName);
}

JWTClaims& JWTClaims::setIssuer(std::string_view issuer) {
    return setClaim(ReservedClaimNames::ISSUER, issuer);
}

std::string JWTClaims::getIssuer() const {
    return getClaimValue<std::string>(ReservedClaimNames::ISSUER);
}

JWTClaims& JWTClaims::setSubject(std::string_view subject) {
    return setClaim(ReservedClaimNames::SUBJECT, subject);
}

std::string JWTClaims::getSubject() const {
    return getClaimValue<std::string>(ReservedClaimNames::SUBJECT);
}

JWTClaims& JWTClaims::setAudience(const std::vector<std::string>& audience) {
    return setClaim(ReservedClaimNames::AUDIENCE, audience);
}

std::vector<std::string> JWTClaims::getAudience() const {
    const auto& audience = claim(ReservedClaimNames::AUDIENCE);
    if (auto names = audience.to<std::vector<std::string>>()) return *std::move(names);
    if (const auto* name = audience.as<std::string>()) return {*name};
    throw JOSEError::claimNotFoundInJWT(std::string(ReservedClaimNames::AUDIENCE));
}

JWTClaims& JWTClaims::setExpirationTime(double secondsSince1970) {
    return setClaim(ReservedClaimNames::EXPIRATION_TIME, secondsSince1970);
}

JWTClaims& JWTClaims::setExpirationTimeSecondsInTheFuture(double seconds) {
    return setExpirationTime(secondsSince1970() + seconds);
}

double JWTClaims::getExpirationTime() const {
    return getClaimValue<double>(ReservedClaimNames::EXPIRATION_TIME);
}

JWTClaims& JWTClaims::setNotBefore(double secondsSince1970) {
    return setClaim(ReservedClaimNames::NOT_BEFORE, secondsSince1970);
}

JWTClaims& JWTClaims::setNotBeforeSecondsInThePast(double seconds) {
    return setNotBefore(secondsSince1970() - seconds);
}

double JWTClaims::getNotBefore() const {
    return getClaimValue<double>(ReservedClaimNames::NOT_BEFORE);
}

JWTClaims& JWTClaims::setIssuedAt(double secondsSince1970) {
    return setClaim(ReservedClaimNames::ISSUED_AT, secondsSince1970);
}

JWTClaims& JWTClaims::setIssuedAtToNow() {
    return setIssuedAt(secondsSince1970());
}

double JWTClaims::getIssuedAt() const {
    return getClaimValue<double>(ReservedClaimNames::ISSUED_AT);
}

JWTClaims& JWTClaims::setJwtId(std::string_view jwtId) {
    return setClaim(ReservedClaimNames::JWT_ID, jwtId);
}

JWTClaims& JWTClaims::setGeneratedJwtId(std::size_t count) {
    ByteBuffer bytes(count);
    secRandomCopyBytes(bytes);
    return setJwtId(encodeBase64(bytes));
}

std::string JWTClaims::getJwtId() const {
    return getClaimValue<std::string>(ReservedClaimNames::JWT_ID);
}

}  // namespace Torvane
