#include "torvane/jwt/claims_policy.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "torvane/platform/core/clock.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"

namespace Torvane {
namespace {

using Case = ClaimsError::Case;
using Names = ReservedClaimNames;

[[noreturn]] void reject(Case errorCase, std::string_view claim, std::string expected) {
    throw ClaimsError(errorCase, std::string(claim), std::move(expected));
}

std::string quote(const std::vector<std::string>& names) {
    if (names.empty()) return "one that the policy names";
    std::string text = names.size() == 1 ? "" : "one of ";
    for (const auto& name : names) text += (&name == &names.front() ? "" : ", ") + debugQuoted(name);
    return text;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

JWTClaims parseClaims(ByteView payload, const Limits& limits) {
    try {
        auto json = JSONSerialization::secretJSONObject(payload, limits);
        if (json.get().as<JSONValue::Object>()) {
            return JWTClaims(std::move(*std::move(json).take().as<JSONValue::Object>()));
        }
    } catch (const JSONError&) {
        // Text that is not JSON is no object either.
    }
    reject(Case::malformed, "", "a JSON object");
}

/// The claim's value; null when it is missing.
const std::string* text(const JWTClaims& claims, std::string_view name) {
    const auto* value = claims.findClaim(name);
    if (value == nullptr) return nullptr;
    const auto* text = value->as<std::string>();
    if (text == nullptr) reject(Case::malformed, name, "a string");
    return text;
}

std::optional<double> seconds(const JWTClaims& claims, std::string_view name) {
    constexpr double exactSeconds = 9007199254740992.0;  // 2^53
    const auto* value = claims.findClaim(name);
    if (value == nullptr) return std::nullopt;
    const auto number = value->to<double>();
    if (!number || !(-exactSeconds < *number && *number < exactSeconds)) {  // NaN compares as false
        reject(Case::malformed, name, "a number of seconds since 1970");
    }
    return number;
}

/// Calls `accepts` with each of the names that "aud" has, and returns whether it accepts one of them.
template <class Accepts>
bool anyAudience(const JSONValue& audience, const Accepts& accepts) {
    if (const auto* name = audience.as<std::string>()) return accepts(*name);
    const auto* names = audience.as<JSONValue::List>();
    if (names == nullptr) reject(Case::malformed, Names::AUDIENCE, "a string or a list of strings");
    bool found = false;
    for (const auto& element : *names) {
        const auto* name = element.as<std::string>();
        if (name == nullptr) reject(Case::malformed, Names::AUDIENCE, "a string or a list of strings");
        found = accepts(*name) || found;
    }
    return found;
}

std::string describe(std::string_view relation, double seconds) {
    return std::string(relation) + std::to_string(static_cast<std::int64_t>(seconds));
}

std::chrono::seconds limit(std::chrono::seconds duration) {
    constexpr auto longest = std::chrono::hours(24 * 365 * 100);
    return std::clamp<std::chrono::seconds>(duration, std::chrono::seconds(0), longest);
}

/// The first time that the clock can show at or after these seconds.
ClaimsPolicy::Time roundUp(double seconds) {
    const auto time = toTime(seconds);
    const bool isRoundedDown = toSeconds(time) < seconds && time != ClaimsPolicy::Time::max();
    return isRoundedDown ? time + std::chrono::microseconds(1) : time;
}

/// Lower case, without "application/" where that is optional (RFC 7515, section 4.1.9).
std::string normalizeMediaType(std::string_view type) {
    std::string normal(type);
    std::transform(normal.begin(), normal.end(), normal.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    constexpr std::string_view prefix = "application/";
    const bool isOptional = normal.starts_with(prefix) && normal.find('/', prefix.size()) == std::string::npos;
    return isOptional ? normal.substr(prefix.size()) : normal;
}

}  // namespace

ClaimsPolicy& ClaimsPolicy::requireIssuer(std::vector<std::string> anyOf) {
    issuers_ = std::move(anyOf);
    return *this;
}

ClaimsPolicy& ClaimsPolicy::allowAnyIssuer() {
    issuers_.reset();
    return *this;
}

ClaimsPolicy& ClaimsPolicy::requireAudience(std::vector<std::string> anyOf) {
    audiences_ = std::move(anyOf);
    return *this;
}

ClaimsPolicy& ClaimsPolicy::allowAnyAudience() {
    audiences_.reset();
    return *this;
}

ClaimsPolicy& ClaimsPolicy::requireSubject(std::string_view subject) {
    subject_ = subject;
    return *this;
}

ClaimsPolicy& ClaimsPolicy::requireClaim(std::string_view name) {
    required_.emplace_back(name);
    return *this;
}

ClaimsPolicy& ClaimsPolicy::allowNoExpiry() {
    needsExpiry_ = false;
    return *this;
}

ClaimsPolicy& ClaimsPolicy::setLeeway(std::chrono::seconds leeway) {
    leeway_ = limit(leeway);
    return *this;
}

ClaimsPolicy& ClaimsPolicy::setMaximumAge(std::chrono::seconds age) {
    maximumAge_ = limit(age);
    return *this;
}

ClaimsPolicy& ClaimsPolicy::setClock(std::function<Time()> clock) {
    clock_ = clock ? std::move(clock) : std::chrono::system_clock::now;
    return *this;
}

ClaimsPolicy& ClaimsPolicy::requireType(std::string_view mediaType) {
    type_ = normalizeMediaType(mediaType);
    allowsAnyType_ = false;
    return *this;
}

ClaimsPolicy& ClaimsPolicy::allowAnyType() {
    allowsAnyType_ = true;
    return *this;
}

ClaimsPolicy& ClaimsPolicy::setReplayCheck(ReplayCheck check) {
    replayCheck_ = std::move(check);
    return *this;
}

void ClaimsPolicy::check(const JWTClaims& claims, std::optional<std::string_view> type) const {
    checkType(type);
    checkNames(claims);
    const auto until = checkTimes(claims);
    if (replayCheck_ && !replayCheck_(claims, until)) reject(Case::replayed, Names::JWT_ID, "new");
}

JWTClaims ClaimsPolicy::readClaims(ByteView payload, const JSONValue::Object& header, const Limits& limits) const {
    auto claims = parseClaims(payload, limits);
    const auto type = header.find("typ");
    const auto* text = stringMember(header, "typ");
    try {
        // Empty text stands for a value of another kind: no type that a policy accepts is empty.
        check(claims, type == header.end() ? std::nullopt : std::optional<std::string_view>(text ? *text : ""));
        return claims;
    } catch (...) {
        claims.wipe();
        throw;
    }
}

void ClaimsPolicy::checkType(std::optional<std::string_view> type) const {
    if (allowsAnyType_) return;
    if (type_ ? type && normalizeMediaType(*type) == *type_ : !type || normalizeMediaType(*type) == "jwt") return;
    reject(Case::wrongType, Names::TYPE, type_ ? debugQuoted(*type_) : R"("JWT" or missing)");
}

void ClaimsPolicy::checkNames(const JWTClaims& claims) const {
    const auto require = [&claims](std::string_view name) {
        const auto* value = claims.findClaim(name);
        if (value == nullptr || value->isNull()) reject(Case::missingClaim, name, "there");
    };
    if (issuers_) require(Names::ISSUER);
    const auto* issuer = text(claims, Names::ISSUER);
    if (issuers_ && !contains(*issuers_, *issuer)) reject(Case::wrongIssuer, Names::ISSUER, quote(*issuers_));

    if (audiences_) require(Names::AUDIENCE);
    const auto isOurs = [this](std::string_view name) { return !audiences_ || contains(*audiences_, name); };
    const auto* audience = claims.findClaim(Names::AUDIENCE);
    if (audience != nullptr && !anyAudience(*audience, isOurs) && audiences_) {
        reject(Case::wrongAudience, Names::AUDIENCE, quote(*audiences_));
    }

    if (subject_) require(Names::SUBJECT);
    const auto* subject = text(claims, Names::SUBJECT);
    if (subject_ && *subject != *subject_) reject(Case::wrongSubject, Names::SUBJECT, debugQuoted(*subject_));

    for (const auto& name : required_) require(name);
    if (replayCheck_) require(Names::JWT_ID);
    (void)text(claims, Names::JWT_ID);
}

ClaimsPolicy::Time ClaimsPolicy::checkTimes(const JWTClaims& claims) const {
    const auto expires = seconds(claims, Names::EXPIRATION_TIME);
    const auto validFrom = seconds(claims, Names::NOT_BEFORE);
    const auto issued = seconds(claims, Names::ISSUED_AT);
    const auto leeway = std::chrono::duration<double>(leeway_).count();
    const auto now = toSeconds(clock_());
    auto end = std::numeric_limits<double>::infinity();

    if (!expires && needsExpiry_) reject(Case::missingClaim, Names::EXPIRATION_TIME, "there");
    if (expires) {
        end = *expires + leeway;
        if (now >= end) reject(Case::expired, Names::EXPIRATION_TIME, describe("a time after ", now - leeway));
    }
    const auto latest = now + leeway;
    if (validFrom && *validFrom > latest) {
        reject(Case::notYetValid, Names::NOT_BEFORE, describe("a time until ", latest));
    }
    if (maximumAge_) {
        const auto age = std::chrono::duration<double>(*maximumAge_).count();
        if (!issued) reject(Case::missingClaim, Names::ISSUED_AT, "there");
        if (*issued > latest) reject(Case::notYetValid, Names::ISSUED_AT, describe("a time until ", latest));
        end = std::min(end, *issued + age + leeway);
        if (now >= end) reject(Case::tooOld, Names::ISSUED_AT, describe("a time after ", now - age - leeway));
    }
    return roundUp(end);
}

}  // namespace Torvane
