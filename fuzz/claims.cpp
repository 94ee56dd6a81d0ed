// Claims: what reads is written and reads back the same, and each getter gives what another reader finds or names
// the claim that it refuses.
#include <nlohmann/json.hpp>

#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"

namespace {

using namespace Testing;
using nlohmann::json;
using Torvane::JWTClaims;

template <class Getter>
void requireClaim(const JWTClaims& read, const json& claims, const char* name, bool isOfType, Getter getter) {
    json value;
    const auto refusal = refusalOf([&] { value = (read.*getter)(); });
    require(refusal.empty() == isOfType, "a claim is read when it is of its type: " + refusal);
    require(isOfType || refusal.find(name) != refusal.npos, "a refusal names the claim: " + refusal);
    require(!isOfType || value == claims[name] || value == json::array({claims[name]}), "a claim keeps its value");
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
        requireClaim(read, claims, "iss", is("iss", &json::is_string), &JWTClaims::getIssuer);
        requireClaim(read, claims, "sub", is("sub", &json::is_string), &JWTClaims::getSubject);
        requireClaim(read, claims, "jti", is("jti", &json::is_string), &JWTClaims::getJwtId);
        requireClaim(read, claims, "exp", is("exp", &json::is_number), &JWTClaims::getExpirationTime);
        requireClaim(read, claims, "nbf", is("nbf", &json::is_number), &JWTClaims::getNotBefore);
        requireClaim(read, claims, "iat", is("iat", &json::is_number), &JWTClaims::getIssuedAt);
        requireClaim(read, claims, "aud", isAudience(), &JWTClaims::getAudience);
    });
    return 0;
}
