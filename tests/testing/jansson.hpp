// Jansson as a second strict JSON reader, to compare the library's with.
#pragma once

#include <cmath>
#include <jansson.h>
#include <memory>

#include "torvane/platform/encodings/json_value.hpp"

#include "tests/testing/oracle.hpp"

namespace Testing {

using namespace Torvane;

struct Release {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};

/// The parsed text; null when Jansson rejects it, which it also does for a NUL in a member's name. Numbers are doubles,
/// unless `asIntegers` is true: then whole numbers are integers, which have to fit 64 bits.
inline std::unique_ptr<json_t, Release> readByJansson(ByteView text, json_error_t* error = nullptr,
                                                      bool asIntegers = false) {
    const auto flags = JSON_REJECT_DUPLICATES | JSON_DECODE_ANY | JSON_ALLOW_NUL;
    return std::unique_ptr<json_t, Release>(
        json_loadb(asText(text).data(), text.size(), asIntegers ? flags : flags | JSON_DECODE_INT_AS_REAL, error));
}

inline bool isSame(const JSONValue& value, const json_t* other) {
    if (json_is_integer(other)) {
        const auto* integer = value.as<std::int64_t>();
        return integer && *integer == json_integer_value(other);
    }
    if (const auto number = value.to<double>()) return json_is_real(other) && json_real_value(other) == *number;
    if (const auto* truth = value.as<bool>()) return json_is_boolean(other) && json_is_true(other) == *truth;
    if (const auto* text = value.as<std::string>()) {
        return json_is_string(other) && *text == std::string_view(json_string_value(other), json_string_length(other));
    }
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

}  // namespace Testing
