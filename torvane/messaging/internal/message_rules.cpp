#include "torvane/messaging/internal/message_rules.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include "torvane/messaging/jose_helper.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"

namespace Torvane {
namespace {

using Case = ClaimsError::Case;

// The protected parameter of a JWS that names its recipient: the SHA-256 thumbprint of the recipient's key.
constexpr std::string_view recipientThumbprint = "recipient_jkt";

// A payload that is claims; null for any other payload.
SecretJSON parsePayload(ByteView payload, const Limits& limits) {
    const auto start = asText(payload).find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || payload[start] != '{') return SecretJSON({});  // not parsed in vain
    try {
        return JSONSerialization::secretJSONObject(payload, limits);
    } catch (const JSONError&) {
        return SecretJSON({});
    }
}

// "aud" of claims; null when there is none.
const JSONValue* findAudience(const JSONValue& claims) {
    const auto* members = claims.as<JSONValue::Object>();
    const auto audience = members ? members->find(ReservedClaimNames::AUDIENCE) : JSONValue::Object::const_iterator();
    return members && audience != members->end() ? &audience->second : nullptr;
}

bool namesOneOf(const JSONValue& audience, const std::vector<std::string>& names) {
    const auto isText = [](const JSONValue& name) { return name.as<std::string>() != nullptr; };
    const auto isOurs = [&](const JSONValue& name) {
        return isText(name) && std::find(names.begin(), names.end(), *name.as<std::string>()) != names.end();
    };
    const auto* list = audience.as<JSONValue::List>();
    if (list == nullptr) return isOurs(audience);
    return std::all_of(list->begin(), list->end(), isText) && std::any_of(list->begin(), list->end(), isOurs);
}

// Claims of a message that was encrypted.
struct WipedClaims {
    JWTClaims claims;

    WipedClaims() = default;
    WipedClaims(const WipedClaims&) = delete;
    WipedClaims& operator=(const WipedClaims&) = delete;
    ~WipedClaims() { claims.wipe(); }
};

class Rules final : public MessageRules {
  public:
    std::optional<ClaimsPolicy> policy;
    std::optional<std::vector<std::string>> ourNames;

    [[nodiscard]] JOSE::HeaderParameters bind(const JOSE::HeaderParameters& jwsHeaders,
                                              const JsonWebKey& recipient) const override {
        if (!ourNames) return jwsHeaders;
        auto members = toJSONObject(jwsHeaders.members());
        members.insert(jwsHeaders.otherMembers().begin(), jwsHeaders.otherMembers().end());
        members.insert_or_assign(std::string(recipientThumbprint), recipient.thumbprint());
        return members;
    }

    // The policy comes last, since it may remember the token as used.
    [[nodiscard]] std::shared_ptr<const JWTClaims> accept(ByteView payload, const JSONValue::Object& jwsHeader,
                                                          const JsonWebKey& decryptionKey,
                                                          const Limits& limits) const override {
        if (ourNames) requireRecipient(payload, jwsHeader, decryptionKey, limits);
        if (!policy) return nullptr;
        const auto wiped = std::make_shared<WipedClaims>();
        wiped->claims = policy->readClaims(payload, jwsHeader, limits);
        return {wiped, &wiped->claims};
    }

  private:
    void requireRecipient(ByteView payload, const JSONValue::Object& jwsHeader, const JsonWebKey& decryptionKey,
                          const Limits& limits) const {
        const auto bound = jwsHeader.find(recipientThumbprint);
        const auto claims = ourNames->empty() ? SecretJSON({}) : parsePayload(payload, limits);
        const auto* audience = findAudience(claims.get());
        if (bound == jwsHeader.end() && !audience) {
            throw ClaimsError(Case::missingClaim, std::string(recipientThumbprint), "there");
        }
        if (bound != jwsHeader.end() && bound->second != JSONValue(decryptionKey.thumbprint())) {
            throw ClaimsError(Case::wrongAudience, std::string(recipientThumbprint), "the thumbprint of our key");
        }
        if (audience && !namesOneOf(*audience, *ourNames)) {
            throw ClaimsError(Case::wrongAudience, std::string(ReservedClaimNames::AUDIENCE), "one of our names");
        }
    }
};

std::shared_ptr<Rules> copyOf(const std::shared_ptr<const MessageRules>& rules) {
    return rules ? std::make_shared<Rules>(dynamic_cast<const Rules&>(*rules)) : std::make_shared<Rules>();
}

}  // namespace

std::shared_ptr<const MessageRules> withClaimsPolicy(const std::shared_ptr<const MessageRules>& rules,
                                                     ClaimsPolicy policy) {
    auto changed = copyOf(rules);
    changed->policy = std::move(policy);
    return changed;
}

std::shared_ptr<const MessageRules> withBinding(const std::shared_ptr<const MessageRules>& rules,
                                                std::vector<std::string> ourNames) {
    auto changed = copyOf(rules);
    changed->ourNames = std::move(ourNames);
    return changed;
}

JOSEHelper::Builder& JOSEHelper::Builder::setClaimsPolicy(ClaimsPolicy policy) {
    rules_ = withClaimsPolicy(rules_, std::move(policy));
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::bindRecipient(std::vector<std::string> ourNames) {
    rules_ = withBinding(rules_, std::move(ourNames));
    return *this;
}

}  // namespace Torvane
