// What is checked of a message after its signature: its claims, and whom it is for.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "torvane/jwt/claims_policy.hpp"
#include "torvane/keys/json_web_key.hpp"
#include "torvane/messaging/decoded_message.hpp"
#include "torvane/platform/jose/header_parameters.hpp"

namespace Torvane {

/// The protected parameter of a JWS that names its recipient: the SHA-256 thumbprint of the recipient's key.
inline constexpr std::string_view recipientThumbprint = "recipient_jkt";

/// The parameters, bound to the recipient with this key.
inline JOSE::HeaderParameters bindTo(const JsonWebKey& recipient, const JOSE::HeaderParameters& parameters) {
    auto members = toJSONObject(parameters.members());
    members.insert(parameters.otherMembers().begin(), parameters.otherMembers().end());
    members.insert_or_assign(std::string(recipientThumbprint), recipient.thumbprint());
    return members;
}

/// Sets the rule of JOSEHelper::Builder::setClaimsPolicy().
void setClaimsRule(MessageRules& rules, ClaimsPolicy policy);

/// Sets the rule of JOSEHelper::Builder::bindRecipient().
void setRecipientRule(MessageRules& rules, std::vector<std::string> ourNames);

/// Applies the rules to a message that was verified, and returns its claims if a rule reads them.
inline std::shared_ptr<const JWTClaims> apply(const MessageRules& rules, ByteView payload,
                                              const JSONValue::Object& jwsHeader, const JsonWebKey& decryptionKey,
                                              const Limits& limits) {
    if (rules.requireRecipient) rules.requireRecipient(payload, jwsHeader, decryptionKey, limits);
    return rules.readClaims ? rules.readClaims(payload, jwsHeader, limits) : nullptr;
}

}  // namespace Torvane
