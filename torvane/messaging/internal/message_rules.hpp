// What JOSEHelper and NestedToken do besides signing, encrypting and the opposite. A null pointer means nothing.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "torvane/jwt/claims_policy.hpp"
#include "torvane/jwt/jwt_claims.hpp"
#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/header_parameters.hpp"

namespace Torvane {

/// The policy of a Builder or NestedToken, and the binding of messages to their recipient.
class MessageRules {
  public:
    MessageRules() = default;
    MessageRules(const MessageRules&) = default;
    MessageRules& operator=(const MessageRules&) = default;
    virtual ~MessageRules() = default;

    /// The header parameters of a JWS for the owner of the key.
    [[nodiscard]] virtual JOSE::HeaderParameters bind(const JOSE::HeaderParameters& jwsHeaders,
                                                      const JsonWebKey& recipient) const = 0;

    /// Checks a message whose signature has been verified, and returns its claims if there is a policy.
    /// @throws ClaimsError when the message must not be accepted; whatever the policy throws.
    [[nodiscard]] virtual std::shared_ptr<const JWTClaims> accept(ByteView payload, const JSONValue::Object& jwsHeader,
                                                                  const JsonWebKey& decryptionKey,
                                                                  const Limits& limits) const = 0;
};

/// The rules with those of JOSEHelper::Builder::setClaimsPolicy().
std::shared_ptr<const MessageRules> withClaimsPolicy(const std::shared_ptr<const MessageRules>& rules,
                                                     ClaimsPolicy policy);

/// The rules with those of JOSEHelper::Builder::bindRecipient().
std::shared_ptr<const MessageRules> withBinding(const std::shared_ptr<const MessageRules>& rules,
                                                std::vector<std::string> ourNames);

}  // namespace Torvane
