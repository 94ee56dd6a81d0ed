#include "torvane/platform/jose/jwk_set.hpp"

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/internal/jwk_set_json.hpp"

namespace Torvane::JOSE {

SecretJSON parseJWKSet(ByteView data, const Limits& limits) {
    try {
        return JSONSerialization::secretJSONObject(data, limits);
    } catch (const JSONError& error) {
        throw JOSESwiftError::parsingFailed("The JWK Set cannot be read. " + error.errorDescription());
    }
}

const JSONValue::List& requireKeyList(const JSONValue& set) {
    if (const auto* object = set.as<JSONValue::Object>()) {
        const auto keys = object->find("keys");
        if (keys != object->end() && keys->second.as<JSONValue::List>()) return *keys->second.as<JSONValue::List>();
    }
    throw JOSESwiftError::parsingFailed("The JWK Set is not a JSON object with a list \"keys\".");
}

const JSONValue::Object& requireKeyMembers(const JSONValue& key) {
    if (const auto* members = key.as<JSONValue::Object>()) return *members;
    throw JOSESwiftError::parsingFailed("A key of the JWK Set is not a JSON object.");
}

JWKSet JWKSet::initFrom(ByteView json, const Limits& limits) {
    const auto set = parseJWKSet(json, limits);
    std::vector<JWK> keys;
    for (const auto& key : requireKeyList(set.get())) keys.push_back(JWK::initFrom(requireKeyMembers(key), limits));
    return JWKSet(std::move(keys));
}

ByteBuffer JWKSet::jsonData() const {
    JSONValue::List list;
    list.reserve(keys_.size());
    for (const auto& key : keys_) list.emplace_back(toJSONObject(key.parameters()));
    return JSONSerialization::data(JSONValue::Object{{"keys", std::move(list)}});
}

}  // namespace Torvane::JOSE
