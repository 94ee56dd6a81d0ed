// The JSON reader against another strict reader (Jansson): the same texts are accepted, with the same values, by the
// reader of secrets too, and what is written is read the same by both.
#include <cmath>
#include <jansson.h>

#include "torvane/platform/services/json_serialization.hpp"

#include "tests/testing/oracle.hpp"

namespace {

using namespace Platform;
using Testing::require;

struct Release {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};

std::unique_ptr<json_t, Release> readByOther(ByteView text, json_error_t& error) {
    constexpr auto flags = JSON_REJECT_DUPLICATES | JSON_DECODE_ANY | JSON_DECODE_INT_AS_REAL | JSON_ALLOW_NUL;
    return std::unique_ptr<json_t, Release>(json_loadb(asText(text).data(), text.size(), flags, &error));
}

bool isSame(const JSONValue& value, const json_t* other) {
    // The other reader is told to read every number as a double.
    if (const auto number = value.to<double>()) return json_is_real(other) && json_real_value(other) == *number;
    if (const auto* truth = value.as<bool>()) return json_is_boolean(other) && json_is_true(other) == *truth;
    if (const auto* text = value.as<std::string>())
        return json_is_string(other) && *text == std::string_view(json_string_value(other), json_string_length(other));
    if (const auto* list = value.as<JSONValue::List>()) {
        bool same = json_is_array(other) && json_array_size(other) == list->size();
        for (std::size_t i = 0; same && i < list->size(); ++i) same = isSame((*list)[i], json_array_get(other, i));
        return same;
    }
    if (const auto* object = value.as<JSONValue::Object>()) {
        bool same = json_is_object(other) && json_object_size(other) == object->size();
        for (const auto& [name, member] : *object) same = same && isSame(member, json_object_get(other, name.c_str()));
        return same;
    }
    return value.isNull() && json_is_null(other);
}

// What only one of the two refuses: depth and a NUL byte at the end, or a NUL in a member's name.
bool mayDiffer(const std::string& refusal, const json_error_t& error) {
    return refusal.find("nest too deep") != refusal.npos || refusal.find("NUL byte") != refusal.npos ||
           json_error_code(&error) == json_error_null_byte_in_key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    JSONValue value;
    const auto refusal = Testing::refusalOf([&] { value = JSONSerialization::jsonObject({data, size}); });
    const auto refusalOfSecret = Testing::refusalOf([&] {
        const auto secret = JSONSerialization::secretJSONObject({data, size});
        require(secret.get() == value, "the reader of secrets reads the same value");
    });
    require(refusalOfSecret == refusal, "the reader of secrets refuses the same: " + refusalOfSecret);
    json_error_t error{};
    const auto other = readByOther({data, size}, error);
    if (mayDiffer(refusal, error)) return 0;
    require(refusal.empty() == (other != nullptr), "both accept or refuse; here: " + refusal + " / " + error.text);
    if (!other) return 0;
    require(isSame(value, other.get()), "both read the same value");
    const auto text = JSONSerialization::data(value);
    require(JSONSerialization::data(JSONSerialization::jsonObject(text)) == text, "what is written is read the same");
    require(isSame(value, readByOther(text, error).get()), "by the other reader too");
    return 0;
}
