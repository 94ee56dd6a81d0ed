#include "torvane/support/json_object.hpp"

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/encodings/utf8.hpp"

namespace Torvane {

const JsonSerializeObject* JsonProperty::asSerializable(const JsonSerializeObject& object) noexcept {
    return dynamic_cast<const JsonSerializeProtocol*>(&object) == nullptr ? nullptr : &object;
}

JSONValue::Object JsonProperty::toDictionary(const JsonSerializeObject& object) {
    return object.toDictionary();
}

JsonSerializeObject::JsonSerializeObject(const JSONValue::Object&) {
    throw JsonSerializeError::missingRequiredInit();
}

JsonSerializeObject::Properties::Properties(std::initializer_list<Property> own, Properties inherited) {
    for (const auto& property : own) {
        if (property.value_) members_.insert_or_assign(std::move(property.name_), *std::move(property.value_));
    }
    members_.merge(inherited.members_);
}

JsonSerializeObject::Properties JsonSerializeObject::properties() const {
    return {};
}

JSONValue::Object JsonSerializeObject::toDictionary() const {
    return properties().members_;
}

std::string JsonSerializeObject::toJsonString() const {
    return Zennet::convertToString(JsonCodeHelper::encodeAndConvertToJson(toDictionary()));
}

ByteBuffer JsonCodeHelper::encodeAndConvertToJson(const JSONValue& value) {
    if (!JSONSerialization::isValidJSONObject(value)) {
        throw JsonSerializeError::failedToParseJson("Invalid parameters in the dictionary.");
    }
    return JSONSerialization::data(value);
}

JSONValue JsonCodeHelper::decodeCodeJson(ByteView data, const Limits& limits) {
    try {
        return JSONSerialization::jsonObject(data, limits);
    } catch (const JSONError& error) {
        throw JsonSerializeError::failedToParseJson("Failed to parse response to JSON. " + error.errorDescription());
    }
}

JSONValue::Object dictFromJsonString(std::string_view jsonString, const Limits& limits) {
    auto value = JsonCodeHelper::decodeCodeJson(asBytes(jsonString), limits);
    auto* dict = value.as<JSONValue::Object>();
    if (dict == nullptr) throw JsonSerializeError::invalidJsonString();
    return std::move(*dict);
}

}  // namespace Torvane
