#include "torvane/messaging/token_verifier.hpp"

#include <algorithm>
#include <utility>

#include "torvane/jws/internal/jws_operations.hpp"
#include "torvane/messaging/internal/key_choice.hpp"
#include "torvane/messaging/internal/token_steps.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/jwk.hpp"

namespace Torvane {
namespace {

std::vector<JOSE::SignatureAlgorithm> resolveAll(const TokenVerifier::Algorithms& algorithms) {
    std::vector<JOSE::SignatureAlgorithm> resolved;
    for (const auto& algorithm : algorithms) resolved.push_back(resolveAlgorithm(algorithm));
    return resolved;
}

// The key in the header; nothing unless its thumbprint is pinned.
std::optional<JsonWebKey> findPinnedKey(const JSONValue::Object& header, const std::vector<std::string>& pinned,
                                        const Limits& limits) {
    const auto member = header.find("jwk");
    const auto* members = member == header.end() ? nullptr : member->second.as<JSONValue::Object>();
    if (pinned.empty() || members == nullptr) return std::nullopt;
    if (std::any_of(members->begin(), members->end(),
                    [](const auto& each) { return JOSE::isPrivateMember(each.first); })) {
        return std::nullopt;  // everybody can sign with it now
    }
    const auto known = JsonWebKeySet::readKnown(
        JSONSerialization::data(JSONValue::Object{{"keys", JSONValue::List::of(*members)}}), limits);
    const bool isPinned =
        !known.set.isEmpty() && std::find(pinned.begin(), pinned.end(), known.set.jwks[0].thumbprint()) != pinned.end();
    return isPinned ? std::optional(known.set.jwks[0]) : std::nullopt;
}

}  // namespace

TokenVerifier::TokenVerifier(JsonWebKeySet keys, const Algorithms& algorithms, ClaimsPolicy policy)
    : keys_(std::make_shared<const JsonWebKeySet>(std::move(keys))),
      algorithms_(resolveAll(algorithms)),
      policy_(std::move(policy)) {}

TokenVerifier::TokenVerifier(KeySetSource keys, const Algorithms& algorithms, ClaimsPolicy policy)
    : keys_(std::move(keys)), algorithms_(resolveAll(algorithms)), policy_(std::move(policy)) {}

TokenVerifier& TokenVerifier::setLimits(const Limits& limits) {
    limits_ = limits;
    return *this;
}

TokenVerifier& TokenVerifier::pinHeaderKey(std::string thumbprint) {
    pinned_.push_back(std::move(thumbprint));
    return *this;
}

VerifiedToken TokenVerifier::verify(ByteView token) const {
    auto jws = readSignedToken(token, limits_);
    const auto algorithm = requireAllowed(algorithms_, jws.header().algorithm(), "alg");
    const auto keys = chooseKeysFor(jws.header().parameters(), algorithm);
    auto [payload, key] = verifyWithAny(keys, algorithm, jws, limits_);
    auto header = std::move(jws).header().parameters();
    auto claims = policy_.readClaims(payload.data(), header, limits_);
    return {std::move(payload).data(), std::move(claims), std::move(header), key};
}

std::vector<JsonWebKey> TokenVerifier::chooseKeysFor(const JSONValue::Object& header,
                                                     JOSE::SignatureAlgorithm algorithm) const {
    if (const auto key = findPinnedKey(header, pinned_, limits_)) {
        return requireVerificationKeys({*key}, algorithm, std::nullopt);
    }
    const auto keyId = findKeyId(header);
    return requireVerificationKeys(*findSet(keys_, keyId), algorithm, keyId);
}

}  // namespace Torvane
