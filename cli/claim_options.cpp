#include "cli/claim_options.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <torvane/platform/core/clock.hpp>
#include <utility>

#include "torvane/platform/system/file.hpp"

#include "cli/files.hpp"
#include "cli/text.hpp"
#include "cli/times.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

JSONValue::Object readClaims(const std::string& text) {
    const bool isFile = text.starts_with('@');
    const auto content = isFile ? readInput(text.size() == 1 ? "-" : text.substr(1)) : ByteBuffer();
    const auto reject = [&](const std::string& why) {
        std::error_code none;
        const bool isPath = !isFile && std::filesystem::exists(text, none);
        throw Failure(ExitCode::usage, "The text of --claims must be a JSON object. " + why,
                      isPath ? "--claims @" + text + " reads the file." : "");
    };
    try {
        auto json = JSONSerialization::jsonObject(isFile ? ByteView(content) : asBytes(text));
        if (auto* object = json.as<JSONValue::Object>()) return std::move(*object);
    } catch (const JSONError& error) {
        reject(error.errorDescription());
    }
    reject("It is another JSON value.");
    return {};
}

// Base64 as base64url without padding, which URLs and file names take as it is.
std::string toURLAlphabet(std::string text) {
    std::ranges::replace(text, '+', '-');
    std::ranges::replace(text, '/', '_');
    std::erase(text, '=');
    return text;
}

// A JSON value for an error line.
std::string show(const JSONValue& value) {
    constexpr std::size_t most = 100;
    const auto* string = value.as<std::string>();
    std::string text;
    if (string != nullptr) {
        text = makePrintable(*string);
    } else {
        text = makePrintable(asText(JSONSerialization::data(value)));
    }
    // Cut between characters of UTF-8.
    auto end = std::min(most, text.size());
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    if (end < text.size()) text = text.substr(0, end) + "...";
    return string != nullptr ? '"' + text + '"' : text;
}

std::string showNames(const std::vector<std::string>& names) {
    std::string text = names.size() > 1 ? "one of " : "";
    for (std::size_t i = 0; i < names.size(); ++i) text += (i == 0 ? "\"" : ", \"") + makePrintable(names[i]) + '"';
    return text;
}

// What the policy wanted; empty where the claim's value says it all.
std::string describeWanted(const ClaimsError& error, const PolicyOptions& options) {
    using enum ClaimsError::Case;
    switch (error.errorCase()) {
        case expired:
        case notYetValid: return {};
        case tooOld: return "at most " + options.maximumAge + " ago";
        case missingClaim:
            if (error.claim() == "iss" && !options.issuers.empty()) return showNames(options.issuers);
            if (error.claim() == "aud" && !options.audiences.empty()) return showNames(options.audiences);
            if (error.claim() == "sub" && !options.subject.empty()) return showNames({options.subject});
            return {};
        case wrongType: return options.type.empty() ? "\"JWT\" or none" : '"' + makePrintable(options.type) + '"';
        case wrongIssuer:
        case wrongAudience:
        case wrongSubject:
        case replayed:
        case malformed: break;
    }
    return error.expected();
}

}  // namespace

ByteBuffer makeClaims(const ClaimOptions& options) {
    const auto now = secondsSince1970();
    JWTClaims claims(options.json.empty() ? JSONValue::Object() : readClaims(options.json));
    if (!claims.hasClaim("iat")) claims.setClaim("iat", static_cast<std::int64_t>(now));
    if (!options.issuer.empty()) claims.setIssuer(options.issuer);
    if (!options.subject.empty()) claims.setSubject(options.subject);
    if (options.audience.size() == 1) claims.setClaim("aud", options.audience.front());
    if (options.audience.size() > 1) claims.setAudience(options.audience);
    if (!options.expiry.empty()) claims.setClaim("exp", parseTime("--expires-in", options.expiry, now));
    if (!options.notBefore.empty()) claims.setClaim("nbf", parseTime("--not-before", options.notBefore, now));
    if (options.tokenId == randomTokenId) {
        claims.setGeneratedJwtId();
        claims.setJwtId(toURLAlphabet(claims.getJwtId()));
    } else if (!options.tokenId.empty()) {
        claims.setJwtId(options.tokenId);
    }
    return JSONSerialization::data(claims.toDictionary());
}

void requireNoInput(const ClaimOptions& options, const std::string& input, std::string_view role) {
    if (input.empty()) return;
    std::error_code none;
    const bool isFile = input == "-" || std::filesystem::exists(input, none);
    const bool isId = options.tokenId == randomTokenId && !isFile;
    throw Failure(
        ExitCode::usage,
        "The claims are the " + std::string(role) + ": \"" + input + "\" cannot be " +
            (role == "payload" ? "signed" : "sent") + ", too.",
        isId ? "For an id of your own: --jti=" + input : "--claims @" + input + " adds the claims of a file.");
}

ClaimsPolicy makePolicy(const PolicyOptions& options) {
    if (options.isOff && options.areGiven()) {
        throw Failure(ExitCode::usage, "--no-policy contradicts the options that check claims.");
    }
    ClaimsPolicy policy;
    options.issuers.empty() ? policy.allowAnyIssuer() : policy.requireIssuer(options.issuers);
    options.audiences.empty() ? policy.allowAnyAudience() : policy.requireAudience(options.audiences);
    options.type.empty() ? policy.allowAnyType() : policy.requireType(options.type);
    if (!options.subject.empty()) policy.requireSubject(options.subject);
    for (const auto& name : options.required) policy.requireClaim(name);
    if (options.allowsNoExpiry) policy.allowNoExpiry();
    const auto parse = [](std::string_view option, const std::string& text) {
        const auto duration = parseDuration(option, text);
        if (duration.count() < 0) throw Failure(ExitCode::usage, std::string(option) + " must not be negative.");
        return duration;
    };
    if (!options.leeway.empty()) policy.setLeeway(parse("--leeway", options.leeway));
    if (!options.maximumAge.empty()) policy.setMaximumAge(parse("--max-age", options.maximumAge));
    return policy;
}

Failure explain(const ClaimsError& error, ByteView payload, const JSONValue::Object& header,
                const PolicyOptions& options) {
    const auto& description = error.errorDescription();
    const auto& name = error.claim();
    if (name.empty()) return explainMissingClaims(payload);
    const auto view = parsePayload(payload);
    const auto& members = error.errorCase() == ClaimsError::Case::wrongType ? header : *view.claims;
    const auto member = members.find(name);
    auto text = description.substr(0, description.find(": ")) + ": \"" + makePrintable(name) + "\" ";
    if (member == members.end()) {
        text += "is missing";
    } else {
        const auto time = describeTime(name, member->second, secondsSince1970());
        const bool isAhead = error.errorCase() == ClaimsError::Case::notYetValid;
        text += (isAhead ? "is " : "was ") + (time.empty() ? show(member->second) : time);
    }
    if (const auto wanted = describeWanted(error, options); !wanted.empty()) text += ", wanted " + wanted;
    const bool isExpiryMissing = error.errorCase() == ClaimsError::Case::missingClaim && name == "exp" &&
                                 std::ranges::find(options.required, name) == options.required.end();
    return {ExitCode::claims, text + '.', isExpiryMissing ? "--allow-no-expiry accepts claims without it." : ""};
}

Failure explainMissingClaims(ByteView payload) {
    if (const auto why = explainUnreadableClaims(payload); !why.empty()) {
        return {ExitCode::claims, "The claims cannot be read. " + why};
    }
    return {ExitCode::claims, "The payload is not a JSON object, so it has no claims to check."};
}

void warnOfUncheckedClaims(ByteView payload, std::string_view advice) {
    if (!System::File::standardError().isTerminal() || !parsePayload(payload).claims) return;
    std::cerr << "torvane: The claims were not checked; " << advice << ", --no-policy silences this.\n";
}

}  // namespace Command
