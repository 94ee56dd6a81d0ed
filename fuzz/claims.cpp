// Fuzz target of JWTClaims: claims survive a round trip through JSON, and each getter returns the value that Jansson
// reads, or an error that names the claim.
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
    if (!errorTextOf([&] { members = Torvane::dictFromJsonString(text); }).empty()) return 0;
    const JWTClaims read(members);
    const auto written = read.toJsonString();
    require(Torvane::fromJsonString<JWTClaims>(written).toJsonString() == written, "claims survive a round trip");
    const auto other = readByJansson({data, size});
    if (!other) return 0;  // Jansson rejects a NUL in a name
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
        const auto rejection = errorTextOf([&, &getter = get] { value = getter(); });
        require(isOfType == rejection.empty(), "a getter succeeds if and only if the claim has its type: " + rejection);
        require(!isOfType || isSame(value, claim(name)), "a getter returns the value of the claim");
        const auto notFound = "(\"" + std::string(name) + "\")", malformed = "of claim " + std::string(name) + " is";
        require(isOfType || rejection.find(notFound) != rejection.npos || rejection.find(malformed) != rejection.npos,
                "an error names the claim: " + rejection);
    }
    return 0;
}
