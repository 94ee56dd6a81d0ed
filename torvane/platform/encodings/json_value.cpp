#include "torvane/platform/encodings/json_value.hpp"

#include <cmath>

namespace Torvane {

JSONValue JSONValue::holding(std::any opaque) {
    JSONValue value;
    value.value_ = std::move(opaque);
    return value;
}

std::optional<std::int64_t> JSONValue::wholeNumber() const noexcept {
    if (const auto* integer = as<std::int64_t>()) return *integer;
    constexpr double limit = 9223372036854775808.0;  // 2^63
    const auto* number = as<double>();
    if (number == nullptr || std::trunc(*number) != *number || *number < -limit || *number >= limit)
        return std::nullopt;
    return static_cast<std::int64_t>(*number);
}

void wipeStrings(JSONValue& value) noexcept {
    if (auto* text = value.as<std::string>()) {
        wipe(text->data(), text->size());
    } else if (auto* list = value.as<JSONValue::List>()) {
        for (auto& element : *list) wipeStrings(element);
    } else if (auto* object = value.as<JSONValue::Object>()) {
        for (auto& [name, member] : *object) wipeStrings(member);
    }
}

}  // namespace Torvane
