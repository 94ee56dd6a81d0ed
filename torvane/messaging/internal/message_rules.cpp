#include "torvane/messaging/internal/message_rules.hpp"

#include <algorithm>
#include <optional>

#include "torvane/messaging/jose_helper.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"

namespace Torvane {
namespace {

using Case = ClaimsError::Case;

// "aud" of a payload that is claims; nothing for any other payload.
std::optional<JSONValue> findAudience(ByteView payload, const Limits& limits) {
    const auto start = asText(payload).find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || payload[start] != '{') return std::nullopt;  // not parsed in vain
    try {
        const auto value = JSONSerialization::jsonObject(payload, limits);
        const auto& members = *value.as<JSONValue::Object>();
        const auto audience = members.find(ReservedClaimNames::AUDIENCE);
        return audience == members.end() ? std::nullopt : std::optional(audience->second);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

bool namesOneOf(const JSONValue& audience, const std::vector<std::string>& names) {
    const auto isOurs = [&names](const JSONValue& name) {
        const auto* text = name.as<std::string>();
        return text && std::find(names.begin(), names.end(), *text) != names.end();
    };
    const auto* list = audience.as<JSONValue::List>();
    return list ? std::any_of(list->begin(), list->end(), isOurs) : isOurs(audience);
}

}  // namespace

void setClaimsRule(MessageRules& rules, ClaimsPolicy policy) {
    rules.readClaims = [policy = std::move(policy)](ByteView payload, const JSONValue::Object& jwsHeader,
                                                    const Limits& limits) {
        return std::make_shared<const JWTClaims>(policy.readClaims(payload, jwsHeader, limits));
    };
}

void setRecipientRule(MessageRules& rules, std::vector<std::string> ourNames) {
    rules.requireRecipient = [ourNames = std::move(ourNames)](ByteView payload, const JSONValue::Object& jwsHeader,
                                                              const JsonWebKey& decryptionKey, const Limits& limits) {
        const auto bound = jwsHeader.find(recipientThumbprint);
        const auto audience = ourNames.empty() ? std::nullopt : findAudience(payload, limits);
        if (bound == jwsHeader.end() && !audience) {
            throw ClaimsError(Case::missingClaim, std::string(recipientThumbprint), "there");
        }
        if (bound != jwsHeader.end() && bound->second != JSONValue(decryptionKey.thumbprint())) {
            throw ClaimsError(Case::wrongAudience, std::string(recipientThumbprint), "the thumbprint of our key");
        }
        if (audience && !namesOneOf(*audience, ourNames)) {
            throw ClaimsError(Case::wrongAudience, std::string(ReservedClaimNames::AUDIENCE), "one of our names");
        }
    };
}

JOSEHelper::Builder& JOSEHelper::Builder::setClaimsPolicy(ClaimsPolicy policy) {
    setClaimsRule(rules_, std::move(policy));
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::bindRecipient(std::vector<std::string> ourNames) {
    setRecipientRule(rules_, std::move(ourNames));
    return *this;
}

}  // namespace Torvane
