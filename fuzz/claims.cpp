// Claims: what reads is written and reads back the same, and each getter gives what another reader (Jansson) finds or
// names the claim that it refuses.
#include <jansson.h>
#include <memory>

#include "torvane/torvane.hpp"

#include "tests/testing/jansson.hpp"

namespace {

using namespace Testing;
using Torvane::JWTClaims;

void requireClaim(const char* name, bool isOfType, const std::string& refusal) {
    require(isOfType == refusal.empty(), "a claim is read when it is of its type: " + refusal);
    const auto notFound = "(\"" + std::string(name) + "\")", malformed = "of claim " + std::string(name) + " is";
    require(isOfType || refusal.find(notFound) != refusal.npos || refusal.find(malformed) != refusal.npos,
            "a refusal names the claim: " + refusal);
}

bool isListOfTexts(const json_t* value) {
    bool all = json_is_array(value);
    for (std::size_t i = 0; all && i < json_array_size(value); ++i) all = json_is_string(json_array_get(value, i));
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = Platform::asText({data, size});
    Torvane::JSONValue::Object members;
    if (!refusalOf([&] { members = Torvane::dictFromJsonString(text); }).empty()) return 0;
    const JWTClaims read(members);
    const auto written = read.toJsonString();
    require(Torvane::fromJsonString<JWTClaims>(written).toJsonString() == written, "claims are written the same again");
    const auto other = readByJansson({data, size});
    if (!other) return 0;  // a NUL in a name, which Jansson refuses
    const auto claim = [&](const char* name) { return json_object_get(other.get(), name); };
    for (const auto& [name, get] :
         {std::pair{"iss", &JWTClaims::getIssuer}, {"sub", &JWTClaims::getSubject}, {"jti", &JWTClaims::getJwtId}})
        requireClaim(name, json_is_string(claim(name)), refusalOf([&, get = get, name = name] {
                         require(isSame((read.*get)(), claim(name)), "a claim keeps its text");
                     }));
    for (const auto& [name, get] : {std::pair{"exp", &JWTClaims::getExpirationTime},
                                    {"nbf", &JWTClaims::getNotBefore},
                                    {"iat", &JWTClaims::getIssuedAt}})
        requireClaim(name, json_is_real(claim(name)), refusalOf([&, get = get, name = name] {
                         require(isSame((read.*get)(), claim(name)), "a claim keeps its time");
                     }));
    requireClaim("aud", json_is_string(claim("aud")) || isListOfTexts(claim("aud")), refusalOf([&] {
                     const auto audience = read.getAudience();
                     require(isSame(audience, claim("aud")) || isSame(audience.at(0), claim("aud")), "so does \"aud\"");
                 }));
    return 0;
}
