// Claims: what reads is written and reads back the same, and each getter gives what another reader (Jansson) finds or
// names the claim that it refuses.
#include <jansson.h>
#include <memory>

#include "torvane/torvane.hpp"

#include "tests/testing/jansson.hpp"

namespace {

using namespace Testing;
using Torvane::JSONValue;
using Torvane::JWTClaims;

bool isListOfTexts(const json_t* value) {
    bool all = json_is_array(value);
    for (std::size_t i = 0; all && i < json_array_size(value); ++i) all = json_is_string(json_array_get(value, i));
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = asText({data, size});
    JSONValue::Object members;
    if (!refusalOf([&] { members = Torvane::dictFromJsonString(text); }).empty()) return 0;
    const JWTClaims read(members);
    const auto written = read.toJsonString();
    require(Torvane::fromJsonString<JWTClaims>(written).toJsonString() == written, "claims are written the same again");
    const auto other = readByJansson({data, size});
    if (!other) return 0;  // a NUL in a name, which Jansson refuses
    const auto claim = [&](const char* name) { return json_object_get(other.get(), name); };
    const auto* aud = claim("aud");
    const std::tuple<const char*, bool, std::function<JSONValue()>> getters[]{
        {"iss", json_is_string(claim("iss")), [&] { return read.getIssuer(); }},
        {"sub", json_is_string(claim("sub")), [&] { return read.getSubject(); }},
        {"jti", json_is_string(claim("jti")), [&] { return read.getJwtId(); }},
        {"exp", json_is_real(claim("exp")), [&] { return read.getExpirationTime(); }},
        {"nbf", json_is_real(claim("nbf")), [&] { return read.getNotBefore(); }},
        {"iat", json_is_real(claim("iat")), [&] { return read.getIssuedAt(); }},
        {"aud", json_is_string(aud) || isListOfTexts(aud), [&]() -> JSONValue {
             const auto audience = read.getAudience();
             return json_is_string(aud) ? JSONValue(audience.at(0)) : JSONValue(audience);
         }}};
    for (const auto& [name, isOfType, get] : getters) {
        JSONValue value;
        const auto refusal = refusalOf([&, &get = get] { value = get(); });
        require(isOfType == refusal.empty(), "a claim is read when it is of its type: " + refusal);
        require(!isOfType || isSame(value, claim(name)), "a claim has the value that was written");
        const auto notFound = "(\"" + std::string(name) + "\")", malformed = "of claim " + std::string(name) + " is";
        require(isOfType || refusal.find(notFound) != refusal.npos || refusal.find(malformed) != refusal.npos,
                "a refusal names the claim: " + refusal);
    }
    return 0;
}
