#include "cli/policy_verdict.hpp"

#include <algorithm>

#include "cli/claim_options.hpp"

namespace Command {
namespace {

using namespace Torvane;

std::string nameCase(ClaimsError::Case errorCase) {
    using enum ClaimsError::Case;
    switch (errorCase) {
        case expired: return "expired";
        case notYetValid: return "notYetValid";
        case wrongIssuer: return "wrongIssuer";
        case wrongAudience: return "wrongAudience";
        case wrongSubject: return "wrongSubject";
        case missingClaim: return "missingClaim";
        case tooOld: return "tooOld";
        case wrongType: return "wrongType";
        case replayed: return "replayed";
        case malformed: break;
    }
    return "malformed";
}

// What the policy compared in claims that it accepts.
std::vector<std::string> listChecked(const JWTClaims& claims, const PolicyOptions& options) {
    std::vector<std::string> names;
    const auto add = [&names](bool isChecked, const std::string& name) {
        if (isChecked && std::ranges::find(names, name) == names.end()) names.push_back(name);
    };
    add(!options.type.empty(), "typ");
    add(!options.issuers.empty(), "iss");
    add(!options.audiences.empty(), "aud");
    add(!options.subject.empty(), "sub");
    add(claims.hasClaim("exp"), "exp");
    add(claims.hasClaim("nbf"), "nbf");
    add(!options.maximumAge.empty(), "iat");
    for (const auto& name : options.required) add(true, name);
    return names;
}

}  // namespace

PolicyVerdict judgeClaims(ByteView payload, const JSONValue::Object& header, const PolicyOptions& options) {
    const auto policy = makePolicy(options);
    try {
        return {.checked = listChecked(policy.readClaims(payload, header), options)};
    } catch (const ClaimsError& error) {
        return {.rejection = explain(error, payload, header, options),
                .errorCase = nameCase(error.errorCase()),
                .claim = error.claim()};
    }
}

}  // namespace Command
