#include "torvane/keys/json_web_key_set.hpp"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "torvane/keys/internal/secp256k1_jwk.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/stop_process.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/jose/jwk_set.hpp"
#include "torvane/platform/key_library/internal/secp256k1_key.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/support/errors.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {
namespace {

using Zennet::KeyType;
using Zennet::Secp256k1Utils;

[[noreturn]] void rejectSecp256k1Key() {
    throw JOSEError::invalidKeyFormat("Missing key components");
}

JsonWebKey readSecp256k1Key(const JSONValue::Object& entry) {
    const auto* algorithm = stringMember(entry, "alg");
    if (algorithm == nullptr || *algorithm != "ES256K" || !Zennet::isSecp256k1Supported()) {
        throw JOSEError::algorithmNotSupported("Unsupported algorithm");
    }
    const auto* keyId = stringMember(entry, "kid");
    const auto publicKey = readSecp256k1Point(entry);
    if (!publicKey || keyId == nullptr) rejectSecp256k1Key();

    const auto scalar = readSecp256k1Scalar(entry);
    if (!scalar) return {*publicKey, JWKUse::JWK_SIG, *keyId};
    const auto privateKey = Zennet::makeSecp256k1PrivateKey(*scalar, *publicKey);
    if (!privateKey) rejectSecp256k1Key();
    return {*privateKey, JWKUse::JWK_SIG, *keyId, *publicKey};
}

JsonWebKey readKey(const JSONValue& entry, const Limits& limits) {
    const auto& members = *entry.as<JSONValue::Object>();
    const auto* keyType = stringMember(members, "kty");
    if (keyType == nullptr) throw JOSEError::cannotDecodeJWK(nullptr, "Missing key type in JWK.");
    if (!JSONSerialization::isValidJSONObject(entry)) {
        throw JsonSerializeError::failedToParseJson("Invalid parameters in the dictionary.");
    }
    if (*keyType == "RSA") return JsonWebKey(JOSE::RSAPublicKey::initFrom(members, limits));
    if (*keyType != "EC") throw JOSEError::cannotDecodeJWK(nullptr, "Unknown key type in JWK.");
    if (isSecp256k1JWK(members)) return readSecp256k1Key(members);
    return JsonWebKey(JOSE::ECPublicKey::initFrom(members));
}

bool isStringMap(const JSONValue& value) {
    const auto* object = value.as<JSONValue::Object>();
    return object && std::all_of(object->begin(), object->end(), [](const auto& member) {
               return member.second.template as<std::string>() != nullptr;
           });
}

// The list of string maps under "keys"; null when there is no such list.
const JSONValue::List* findEntries(const JSONValue::Object& jwksDictionary) {
    const auto keys = jwksDictionary.find("keys");
    const auto* list = keys == jwksDictionary.end() ? nullptr : keys->second.as<JSONValue::List>();
    return list && std::all_of(list->begin(), list->end(), isStringMap) ? list : nullptr;
}

JOSE::JWKSet parseSet(ByteView jwksData, const Limits& limits) {
    return wrapErrors(JOSEError::cannotDecodeJWK, [&] { return JOSE::JWKSet::initFrom(jwksData, limits); });
}

template <class T>
std::optional<T> readCriterion(const JSONValue::Object& header, std::string_view name) {
    const auto found = header.find(name);
    const auto* value = found == header.end() ? nullptr : found->second.as<T>();
    return value ? std::optional<T>(*value) : std::nullopt;
}

bool fitsAlgorithm(const JsonWebKey& key, const std::string& algorithm) {
    if (!key.jwk()) return true;
    const auto member = key.jwk()->parameters().find("alg");
    return member == key.jwk()->parameters().end() || member->second == algorithm;
}

bool fitsUse(const JsonWebKey& key, const KeyQuery& query) {
    return !query.use || key.use() == *query.use || (query.acceptBothUses && key.use() == JWKUse::JWK_SIG_ENC);
}

bool fits(const JsonWebKey& key, const KeyQuery& query) {
    return (!query.keyClass || key.key().keyClass() == *query.keyClass) &&
           (!query.keyId || key.keyId() == *query.keyId) && (!query.keyType || key.key().keyType() == *query.keyType) &&
           fitsUse(key, query) && (!query.algorithm || fitsAlgorithm(key, *query.algorithm));
}

bool isSameUseAndKey(const JsonWebKey& a, const JsonWebKey& b) {
    return a.use() == b.use() && a.key().publicKey() == b.key().publicKey();
}

bool isExported(const JsonWebKey& key) {
    if (!key.key().keyType()) stopProcess("a key without a key type cannot be encoded");
    return Secp256k1Utils::isSecp256k1Key(key.key()) ? key.key().isPublicKey() : key.exportableJWK() != nullptr;
}

}  // namespace

JsonWebKeySet::JsonWebKeySet(const JSONValue::Object& jwksDictionary, const Limits& limits) {
    const auto* entries = findEntries(jwksDictionary);
    if (entries == nullptr) throw JOSEError::cannotDecodeJWK(nullptr, "Failed to decode jwk");
    for (const auto& entry : *entries) jwks.push_back(readKey(entry, limits));
    if (jwks.empty()) throw JOSEError::cannotDecodeJWK(nullptr, "No JWKs found in the dictionary.");
}

JsonWebKeySet::JsonWebKeySet(ByteView jwksData, const Limits& limits) {
    const auto set = parseSet(jwksData, limits);
    for (const auto& jwk : set.keys()) jwks.emplace_back(jwk);
}

std::vector<JsonWebKey> JsonWebKeySet::find(const KeyQuery& query) const {
    std::vector<JsonWebKey> found;
    std::ranges::copy_if(jwks, std::back_inserter(found), [&](const JsonWebKey& key) { return fits(key, query); });
    return found;
}

std::vector<JsonWebKey> JsonWebKeySet::findKeysFor(const JSONValue::Object& jwkHeader,
                                                   Zennet::KeyClass keyClass) const {
    return find({.keyId = readCriterion<std::string>(jwkHeader, "kid"),
                 .use = readCriterion<JWKUse>(jwkHeader, "use"),
                 .keyType = readCriterion<KeyType>(jwkHeader, "kty"),
                 .algorithm = readCriterion<std::string>(jwkHeader, "alg"),
                 .keyClass = keyClass});
}

JsonWebKeySet JsonWebKeySet::publicSet() const {
    JsonWebKeySet published;
    std::unordered_multimap<std::string, JsonWebKey> publishedById;
    for (const auto& key : jwks) {
        const auto half = key.publicHalf();
        const auto [first, last] = publishedById.equal_range(half.keyId());
        if (std::any_of(first, last, [&](const auto& other) { return isSameUseAndKey(half, other.second); })) continue;
        publishedById.emplace(half.keyId(), half);
        published.jwks.push_back(half);
    }
    return published;
}

ByteBuffer JsonWebKeySet::encode() const {
    std::vector<JOSE::JWK> exported;
    for (const auto& key : jwks) {
        if (const auto* jwk = key.exportableJWK()) exported.push_back(*jwk);
    }
    return wrapErrors(JOSEError::cannotEncodeJWK, [&] { return JOSE::JWKSet(std::move(exported)).jsonData(); });
}

std::string JsonWebKeySet::encodeToString() const {
    return Zennet::convertToString(encode());
}

std::vector<StringMap> JsonWebKeySet::encodeToArray() const {
    std::vector<StringMap> maps;
    for (const auto& key : jwks) {
        if (isExported(key)) maps.push_back(key.encodeToDictionary());
    }
    return maps;
}

std::string JsonWebKeySet::debugDescription() const {
    try {
        return encodeToString();
    } catch (...) {
        return "An error occurred while performing the operation.";
    }
}

}  // namespace Torvane
