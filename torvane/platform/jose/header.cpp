#include "torvane/platform/jose/header.hpp"

#include <utility>

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/internal/compact.hpp"

namespace Torvane::JOSE {
namespace {

JSONValue::Object parseHeader(ByteView json, const Limits& limits) {
    requireSizeWithin(limits.headerBytes, json.size(), "header");
    try {
        auto value = JSONSerialization::jsonObject(json, limits);
        if (auto* object = value.as<JSONValue::Object>()) return std::move(*object);
    } catch (const JSONError& error) {
        throw JOSESwiftError::parsingFailed("The header cannot be read. " + error.errorDescription());
    }
    throw JOSESwiftError::parsingFailed("The header is not a JSON object.");
}

JSONValue::Object mergeMembers(const HeaderParameters& additional,
                               std::initializer_list<std::pair<const char*, std::string_view>> overwriting,
                               std::optional<std::string> keyId) {
    auto members = toJSONObject(additional.members());
    for (const auto& [name, value] : additional.otherMembers()) members.emplace(name, value);
    for (const auto& [name, value] : overwriting) members[name] = value;
    if (keyId) members["kid"] = *std::move(keyId);
    return members;
}

}  // namespace

Header::Header(JSONValue::Object parameters) : parameters_(std::move(parameters)) {
    if (!JSONSerialization::isValidJSONObject(parameters_)) {
        throw JOSESwiftError::parsingFailed("The header holds a value that is not JSON.");
    }
    check();
}

Header::Header(ByteView json, const Limits& limits) : parameters_(parseHeader(json, limits)) {
    check();
}

ByteBuffer Header::jsonData() const {
    return JSONSerialization::data(parameters_);
}

const std::string& Header::rejectMember(const char* name) {
    throw JOSESwiftError::parsingFailed("The header's \"" + std::string(name) + "\" is missing or not a string.");
}

void Header::check() const {
    requireString("alg");
    for (const auto* name : {"kid", "typ", "cty", "jku", "x5u", "x5t", "x5t#S256"}) {
        if (parameters_.contains(name)) requireString(name);
    }
    const auto reject = [](const char* why) { throw JOSESwiftError::parsingFailed(why); };
    if (parameters_.contains("crit")) reject("The header's \"crit\" names extensions, and none is supported.");
    if (parameters_.contains("zip")) reject("The header's \"zip\" asks for compression, which is not supported.");
    const auto b64 = parameters_.find("b64");
    if (b64 != parameters_.end() && b64->second != JSONValue(true)) {
        reject("The header's \"b64\" asks for an unencoded payload, which is not supported.");
    }
}

JWSHeader::JWSHeader(SignatureAlgorithm algorithm, const HeaderParameters& additionalHeaderParams,
                     std::optional<std::string> keyId)
    : JWSHeader(mergeMembers(additionalHeaderParams, {{"alg", rawValue(algorithm)}}, std::move(keyId))) {}

JWEHeader::JWEHeader(JSONValue::Object parameters) : Header(std::move(parameters)) {
    requireString("enc");
}

JWEHeader::JWEHeader(ByteView json, const Limits& limits) : Header(json, limits) {
    requireString("enc");
}

JWEHeader::JWEHeader(KeyManagementAlgorithm keyManagementAlgorithm,
                     ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                     const HeaderParameters& additionalHeaderParams, std::optional<std::string> keyId)
    : JWEHeader(mergeMembers(additionalHeaderParams,
                             {{"alg", rawValue(keyManagementAlgorithm)}, {"enc", rawValue(contentEncryptionAlgorithm)}},
                             std::move(keyId))) {}

std::optional<ByteBuffer> JWEHeader::readBytes(const char* name) const {
    const auto member = parameters().find(name);
    if (member == parameters().end()) return std::nullopt;
    const auto* text = member->second.as<std::string>();
    auto bytes = text ? decodeBase64url(*text) : std::nullopt;
    if (!bytes) throw JOSESwiftError::parsingFailed("The header's \"" + std::string(name) + "\" is not base64url.");
    return bytes;
}

}  // namespace Torvane::JOSE
