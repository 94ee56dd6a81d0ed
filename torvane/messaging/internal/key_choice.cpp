#include "torvane/messaging/internal/key_choice.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "torvane/platform/key_library/secp256k1_utils.hpp"

namespace Torvane {
namespace {

using Zennet::Secp256k1Utils;

// Values of "key_ops", any one of which is enough.
using Operations = std::array<std::string_view, 2>;

constexpr JWKUse useFor(JOSE::SignatureAlgorithm) noexcept {
    return JWKUse::JWK_SIG;
}

constexpr JWKUse useFor(JOSE::KeyManagementAlgorithm) noexcept {
    return JWKUse::JWK_ENC;
}

constexpr Operations operationsFor(JOSE::SignatureAlgorithm, KeyClass keyClass) noexcept {
    return keyClass == KeyClass::publicKey ? Operations{"verify", "verify"} : Operations{"sign", "sign"};
}

constexpr Operations operationsFor(JOSE::KeyManagementAlgorithm algorithm, KeyClass keyClass) noexcept {
    if (parameters(algorithm).isKeyAgreement()) return {"deriveKey", "deriveBits"};
    return keyClass == KeyClass::publicKey ? Operations{"wrapKey", "encrypt"} : Operations{"unwrapKey", "decrypt"};
}

// The platform key; null when there is none, and for a public one in a private JsonWebKey, which allows that.
const SecKey* platformKeyOf(const Zennet::Key& key) {
    const bool isMismatch = key.keyRef() && key.keyRef()->isPublicKey() && !key.isPublicKey();
    return key.keyRef() && !isMismatch ? &*key.keyRef() : nullptr;
}

bool fitsKey(JOSE::SignatureAlgorithm algorithm, const JsonWebKey& key) {
    const bool isSecp256k1 = Secp256k1Utils::isSecp256k1Key(key.key());
    if (algorithm == JOSE::SignatureAlgorithm::ES256K) return isSecp256k1;
    const auto* platformKey = platformKeyOf(key.key());
    return !isSecp256k1 && platformKey && fits(algorithm, *platformKey);
}

bool fitsKey(JOSE::KeyManagementAlgorithm algorithm, const JsonWebKey& key) {
    const auto* platformKey = platformKeyOf(key.key());
    return platformKey && fits(algorithm, *platformKey);
}

// Whether "use" and "alg", if they are there, are text, and "use" is this one. The set has compared the text of "alg".
bool permitsUse(const JOSE::JWK& jwk, JWKUse use) {
    const auto& others = jwk.otherMembers();
    if (others.contains("use") || others.contains("alg")) return false;
    const auto text = jwk["use"];
    const auto permitted = fromRawValue<JWKUse>(text.value_or("sig_enc"));
    return permitted == use || permitted == JWKUse::JWK_SIG_ENC;
}

bool permitsOneOf(const JOSE::JWK& jwk, bool isPublic, const Operations& operations) {
    if (jwk["key_ops"]) return false;  // text
    const auto member = jwk.otherMembers().find("key_ops");
    if (member == jwk.otherMembers().end()) return true;
    const auto* list = member->second.as<JSONValue::List>();
    if (list == nullptr) return false;
    // A public key to agree with does nothing itself, so its list is often empty.
    if (list->empty()) return isPublic && operations.front() == "deriveKey";
    return std::any_of(list->begin(), list->end(), [&operations](const JSONValue& element) {
        const auto* name = element.as<std::string>();
        return name && std::find(operations.begin(), operations.end(), *name) != operations.end();
    });
}

template <class Algorithm>
std::vector<JsonWebKey> choose(const JsonWebKeySet& set, Algorithm algorithm, const std::optional<std::string>& keyId,
                               KeyClass keyClass) {
    auto keys = set.find({.keyId = keyId,
                          .use = useFor(algorithm),
                          .acceptBothUses = true,
                          .algorithm = std::string(rawValue(algorithm)),
                          .keyClass = keyClass});
    std::erase_if(keys, [&](const JsonWebKey& key) {
        const auto& jwk = key.jwk();
        return !fitsKey(algorithm, key) ||
               (jwk && !(permitsUse(*jwk, useFor(algorithm)) &&
                         permitsOneOf(*jwk, key.key().isPublicKey(), operationsFor(algorithm, keyClass))));
    });
    return keys;
}

}  // namespace

std::vector<JsonWebKey> chooseKeys(const JsonWebKeySet& set, JOSE::SignatureAlgorithm algorithm,
                                   const std::optional<std::string>& keyId, KeyClass keyClass) {
    return choose(set, algorithm, keyId, keyClass);
}

std::vector<JsonWebKey> chooseKeys(const JsonWebKeySet& set, JOSE::KeyManagementAlgorithm algorithm,
                                   const std::optional<std::string>& keyId, KeyClass keyClass) {
    return choose(set, algorithm, keyId, keyClass);
}

}  // namespace Torvane
