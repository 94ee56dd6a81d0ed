#include "torvane/platform/services/json_value.hpp"

namespace Platform {

void wipeStrings(JSONValue& value) noexcept {
    if (auto* text = value.as<std::string>()) {
        wipe(text->data(), text->size());
    } else if (auto* list = value.as<JSONValue::List>()) {
        for (auto& element : *list) wipeStrings(element);
    } else if (auto* object = value.as<JSONValue::Object>()) {
        for (auto& [name, member] : *object) wipeStrings(member);
    }
}

}  // namespace Platform
