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

bool fitsKey(JOSE::SignatureAlgorithm algorithm, const JsonWebKey& key) {
    const bool isSecp256k1 = Secp256k1Utils::isSecp256k1Key(key.key());
    if (algorithm == JOSE::SignatureAlgorithm::ES256K) return isSecp256k1;
    return !isSecp256k1 && key.key().keyRef() && fits(algorithm, *key.key().keyRef());
}

bool fitsKey(JOSE::KeyManagementAlgorithm algorithm, const JsonWebKey& key) {
    return key.key().keyRef() && fits(algorithm, *key.key().keyRef());
}

bool permits(const JsonWebKey& key, const Operations& operations) {
    if (!key.jwk()) return true;
    const auto& members = key.jwk()->otherMembers();
    const auto member = members.find("key_ops");
    if (member == members.end()) return true;
    const auto* list = member->second.as<JSONValue::List>();
    if (list == nullptr) return false;
    // A public key to agree with does nothing itself, so its list is often empty.
    if (list->empty()) return key.key().isPublicKey() && operations.front() == "deriveKey";
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
        return !fitsKey(algorithm, key) || !permits(key, operationsFor(algorithm, keyClass));
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
