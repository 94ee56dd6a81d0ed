// References that outlive their objects: Clang warns of each, and of nothing else.
#include "torvane/torvane.hpp"

using namespace Torvane;

void keepReferences() {
    auto& claims = JWTClaims().setIssuer("me").setClaim("a", 1);  // expected-warning {{temporary bound}}
    auto& body = URLRequestBody().setBodyParam("a", 1);           // expected-warning {{temporary bound}}
    auto& header = URLRequestHeader().setHeaderField("a", "b");   // expected-warning {{temporary bound}}
    auto& builder =
        JOSEHelper::Builder().setJWSAlgorithm("ES256").addJweHeaders({});  // expected-warning {{temporary bound}}
    auto* number = JSONValue(1).as<std::int64_t>();  // expected-warning {{temporary whose address}}
}

void useAtOnce() {
    JWTClaims claims;
    auto& same = claims.setIssuer("me").setSubject("you");
    const auto text = JWTClaims().setIssuer("me").setClaimValue(1, "a").toJsonString();
    const auto number = *JSONValue(1).as<std::int64_t>();
}
