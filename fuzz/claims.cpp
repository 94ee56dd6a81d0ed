// Claims: what reads is written and reads back the same, and each getter gives what another reader finds or names
// the claim that it refuses.
#include <nlohmann/json.hpp>

#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"

namespace {

using namespace Testing;
using nlohmann::json;
using Torvane::JWTClaims;

template <class T>
void requireClaim(const json& claims, const char* name, bool isOfType, T (JWTClaims::*getter)() const,
                  const JWTClaims& read) {
    std::optional<T> value;
    const auto refusal = refusalOf([&] { value = (read.*getter)(); });
    require(value.has_value() == isOfType, "a claim is read when it is of its type: " + refusal);
    if (!value) return require(refusal.find(name) != refusal.npos, "a refusal names the claim: " + refusal);
    const auto& claim = claims[name];
    require(json(*value) == claim || json(*value) == json::array({claim}), "a claim has the value that was written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = Platform::asText({data, size});
    refusalOf([&] {
        const auto read = Torvane::fromJsonString<JWTClaims>(text);
        auto claims = json::parse(text);
        const auto again = Torvane::fromJsonString<JWTClaims>(read.toJsonString());
        require(again.toJsonString() == read.toJsonString(), "claims are written the same again");
        const auto is = [&](const char* name, auto test) { return claims.contains(name) && (claims[name].*test)(); };
        const auto isAudience = [&] {
            if (!is("aud", &json::is_array)) return is("aud", &json::is_string);
            return std::all_of(claims["aud"].begin(), claims["aud"].end(), [](const json& j) { return j.is_string(); });
        };
        requireClaim(claims, "iss", is("iss", &json::is_string), &JWTClaims::getIssuer, read);
        requireClaim(claims, "sub", is("sub", &json::is_string), &JWTClaims::getSubject, read);
        requireClaim(claims, "jti", is("jti", &json::is_string), &JWTClaims::getJwtId, read);
        requireClaim(claims, "exp", is("exp", &json::is_number), &JWTClaims::getExpirationTime, read);
        requireClaim(claims, "nbf", is("nbf", &json::is_number), &JWTClaims::getNotBefore, read);
        requireClaim(claims, "iat", is("iat", &json::is_number), &JWTClaims::getIssuedAt, read);
        requireClaim(claims, "aud", isAudience(), &JWTClaims::getAudience, read);
    });
    return 0;
}
