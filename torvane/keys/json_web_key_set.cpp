#include "torvane/keys/json_web_key_set.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/jose/jwk_set.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {
namespace {

using Zennet::KeyType;
using Zennet::Secp256k1Utils;

template <class Buffer>
std::optional<Buffer> decoded(const std::string* text, std::optional<Buffer> (*decode)(std::string_view)) {
    return text ? decode(*text) : std::nullopt;
}

JsonWebKey secp256k1Key(const JSONValue::Object& entry) {
    const auto* algorithm = stringMember(entry, "alg");
    if (algorithm == nullptr || *algorithm != "ES256K") throw JOSEError::algorithmNotSupported("Unsupported algorithm");
    const auto x = decoded(stringMember(entry, "x"), decodeBase64url);
    const auto y = decoded(stringMember(entry, "y"), decodeBase64url);
    const auto* keyId = stringMember(entry, "kid");
    if (!x || !y || keyId == nullptr) throw JOSEError::invalidKeyFormat("Missing key components");

    ByteBuffer point{0x04};
    point.insert(point.end(), x->begin(), x->end());
    point.insert(point.end(), y->begin(), y->end());
    const Zennet::PublicKey publicKey(point, KeyType::SECP256K1Key);
    const auto scalar = decoded(stringMember(entry, "d"), decodeSecretBase64url);
    if (!scalar) return {publicKey, JWKUse::JWK_SIG, *keyId};
    return {Zennet::PrivateKey(*scalar, KeyType::SECP256K1Key), JWKUse::JWK_SIG, *keyId, publicKey};
}

JsonWebKey keyFrom(const JSONValue& entry) {
    const auto& members = *entry.as<JSONValue::Object>();
    const auto* keyType = stringMember(members, "kty");
    if (keyType == nullptr) throw JOSEError::cannotDecodeJWK(nullptr, "Missing key type in JWK.");
    if (!JSONSerialization::isValidJSONObject(entry)) {
        throw JsonSerializeError::failedToParseJson("Invalid parameters in the dictionary.");
    }
    if (*keyType == "RSA") return JsonWebKey(JOSE::RSAPublicKey::initFrom(members));
    if (*keyType != "EC") throw JOSEError::cannotDecodeJWK(nullptr, "Unknown key type in JWK.");
    const auto* curve = stringMember(members, "crv");
    if (curve && *curve == Secp256k1Utils::SECP256K1CURVE) return secp256k1Key(members);
    return JsonWebKey(JOSE::ECPublicKey::initFrom(members));
}

bool isStringMap(const JSONValue& value) {
    const auto* object = value.as<JSONValue::Object>();
    return object && std::all_of(object->begin(), object->end(), [](const auto& member) {
               return member.second.template as<std::string>() != nullptr;
           });
}

// The list of string maps under "keys"; null when there is no such list.
const JSONValue::List* entriesOf(const JSONValue::Object& jwksDictionary) {
    const auto keys = jwksDictionary.find("keys");
    const auto* list = keys == jwksDictionary.end() ? nullptr : keys->second.as<JSONValue::List>();
    return list && std::all_of(list->begin(), list->end(), isStringMap) ? list : nullptr;
}

JOSE::JWKSet parsedSet(ByteView jwksData) {
    try {
        return JOSE::JWKSet::initFrom(jwksData);
    } catch (...) {
        throw JOSEError::cannotDecodeJWK(std::current_exception());
    }
}

// What a key must fit to be found.
class Criteria {
  public:
    explicit Criteria(const JSONValue::Object& header)
        : keyId_(member<std::string>(header, "kid")),
          keyType_(member<KeyType>(header, "kty")),
          use_(member<JWKUse>(header, "use")),
          algorithm_(member<std::string>(header, "alg")) {}

    bool fit(const JsonWebKey& key) const {
        return (!keyId_ || key.keyId() == *keyId_) && (!keyType_ || key.key().keyType() == *keyType_) &&
               (!use_ || key.use() == *use_) && (!algorithm_ || mayUse(key, *algorithm_));
    }

  private:
    template <class T>
    static const T* member(const JSONValue::Object& header, std::string_view name) {
        const auto found = header.find(name);
        return found == header.end() ? nullptr : found->second.as<T>();
    }

    static bool mayUse(const JsonWebKey& key, const std::string& algorithm) {
        const auto named = key.jwk() ? (*key.jwk())["alg"] : std::nullopt;
        return !named || *named == algorithm;
    }

    const std::string* keyId_;
    const KeyType* keyType_;
    const JWKUse* use_;
    const std::string* algorithm_;
};

bool isExported(const JsonWebKey& key) {
    if (!key.key().keyType()) stopProcess("a key without a key type cannot be encoded");
    return Secp256k1Utils::isSecp256k1Key(key.key()) ? key.key().isPublicKey() : key.exportableJwk() != nullptr;
}

}  // namespace

JsonWebKeySet::JsonWebKeySet(const JSONValue::Object& jwksDictionary) {
    const auto* entries = entriesOf(jwksDictionary);
    if (entries == nullptr) throw JOSEError::cannotDecodeJWK(nullptr, "Failed to decode jwk");
    for (const auto& entry : *entries) jwks.push_back(keyFrom(entry));
    if (jwks.empty()) throw JOSEError::cannotDecodeJWK(nullptr, "No JWKs found in the dictionary.");
}

JsonWebKeySet::JsonWebKeySet(ByteView jwksData) {
    const auto set = parsedSet(jwksData);
    for (const auto& jwk : set.keys()) jwks.emplace_back(jwk);
}

std::vector<JsonWebKey> JsonWebKeySet::findKeysFor(const JSONValue::Object& jwkHeader,
                                                   Zennet::KeyClass keyClass) const {
    const Criteria criteria(jwkHeader);
    std::vector<JsonWebKey> found;
    std::copy_if(jwks.begin(), jwks.end(), std::back_inserter(found),
                 [&](const JsonWebKey& key) { return key.key().keyClass() == keyClass && criteria.fit(key); });
    return found;
}

ByteBuffer JsonWebKeySet::encode() const {
    std::vector<JOSE::JWK> exported;
    for (const auto& key : jwks) {
        if (const auto* jwk = key.exportableJwk()) exported.push_back(*jwk);
    }
    try {
        return JOSE::JWKSet(std::move(exported)).jsonData();
    } catch (...) {
        rethrowAsJOSEError([](std::exception_ptr error) { return JOSEError::cannotEncodeJWK(std::move(error)); });
    }
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
