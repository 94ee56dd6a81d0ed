// Conversion of a property to JSON by its type, for json_object.hpp.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

class JsonSerializeObject;
class JsonSerializeProtocol;

}  // namespace Torvane

namespace Torvane::JsonProperty {

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
concept NestedObject = std::derived_from<T, JsonSerializeObject>;

template <class T>
concept Pointer = std::is_pointer_v<T> || std::is_member_pointer_v<T> || requires(const T& pointer) {
    typename T::element_type;
    { pointer == nullptr } -> std::convertible_to<bool>;
};

template <class T>
concept PointerToObject = Pointer<T> && requires(const T& pointer) {
    { *pointer } -> std::convertible_to<const JsonSerializeObject&>;
};

// Values that convert to a JSONValue.
template <class T>
concept JSON = std::convertible_to<const T&, JSONValue>;

template <class T>
concept Map = requires(const T& map, const typename T::key_type& key) {
    { map.at(key) } -> std::same_as<const typename T::mapped_type&>;
};

template <class T>
concept Bytes = std::ranges::range<const T> &&(std::same_as<std::ranges::range_value_t<const T>, std::uint8_t> ||
                                               std::same_as<std::ranges::range_value_t<const T>, std::byte>);

// Lists that do not convert to a JSONValue. The last condition excludes std::filesystem::path, whose elements are paths
// again: converting it would never end.
template <class T>
concept List = std::ranges::input_range<const T> && !JSON<T> && !Map<T> && !Bytes<T> &&
               !std::same_as<std::ranges::range_value_t<const T>, T>;

template <class T>
constexpr void requireConvertibleType() {
    if constexpr (isOptional<T>) {
        requireConvertibleType<typename T::value_type>();
    } else {
        static_assert(!Character<T>, "A property that is a character: use std::string, or a number type.");
        static_assert(!Pointer<T> || JSON<T> || PointerToObject<T>,
                      "A property that is a pointer: use the value, or std::optional.");
        static_assert(!NestedObject<T> || std::derived_from<T, JsonSerializeProtocol>,
                      "A property that is an object: its class must derive from JsonSerializeProtocol too.");
        static_assert(
            JSON<T> || Map<T> || List<T> || NestedObject<T> || PointerToObject<T> || std::copy_constructible<T>,
            "A property that cannot be copied and is not an object.");
        if constexpr (Map<T>) {
            static_assert(std::convertible_to<const typename T::key_type&, std::string_view>,
                          "A property that is a map: its keys must be text.");
        }
    }
}

/// The object when it also derives from JsonSerializeProtocol, else null.
[[nodiscard]] TORVANE_EXPORT const JsonSerializeObject* asSerializable(const JsonSerializeObject& object) noexcept;

[[nodiscard]] TORVANE_EXPORT JSONValue::Object toDictionary(const JsonSerializeObject& object);

/// The object that a value is or points to when its class derives from JsonSerializeProtocol, else null.
template <class T>
const JsonSerializeObject* findSerializable(const T& value) noexcept {
    if constexpr (NestedObject<T>) {
        return asSerializable(value);
    } else if constexpr (PointerToObject<T>) {
        return value == nullptr ? nullptr : asSerializable(*value);
    } else if constexpr (isOptional<T>) {
        return value ? findSerializable(*value) : nullptr;
    } else {
        return nullptr;
    }
}

template <List T>
bool isListOfObjects(const T& list) noexcept {
    return std::ranges::all_of(list, [](const auto& element) { return findSerializable(element) != nullptr; });
}

// Stands for a value that is not JSON and cannot be copied.
struct Uncopyable {};

/// The value as it is, opaque where it is not JSON.
template <class T>
JSONValue keepValue(const T& value) {
    requireConvertibleType<T>();
    if constexpr (isOptional<T>) {
        return value ? keepValue(*value) : JSONValue();
    } else if constexpr (std::is_bounded_array_v<T> && JSON<T>) {
        const std::string_view whole(value, std::extent_v<T>);
        return whole.substr(0, whole.find('\0'));
    } else if constexpr (JSON<T>) {
        return value;
    } else if constexpr (Map<T>) {
        JSONValue::Object object;
        for (const auto& [name, member] : value) object.emplace(std::string_view(name), keepValue(member));
        return object;
    } else if constexpr (List<T>) {
        JSONValue::List list;
        for (const auto& element : value) list.push_back(keepValue(element));
        return list;
    } else if constexpr (std::copy_constructible<T>) {
        return JSONValue::opaque(value);
    } else {
        return JSONValue::opaque(Uncopyable());
    }
}

/// The value as it is converted for a property; nothing when the property is left out.
template <class T>
std::optional<JSONValue> convertValue(const T& value) {
    requireConvertibleType<T>();
    if constexpr (std::is_enum_v<T>) {
        return std::nullopt;
    } else if constexpr (isOptional<T>) {
        if (!value) return std::nullopt;
        // An enumeration in an optional is not left out; toJsonString() rejects it.
        if constexpr (std::is_enum_v<typename T::value_type>) {
            return keepValue(*value);
        } else {
            return convertValue(*value);
        }
    } else {
        if constexpr (std::is_pointer_v<T> || PointerToObject<T>) {
            if (value == nullptr) return std::nullopt;
        }
        if (const auto* object = findSerializable(value)) return toDictionary(*object);
        if constexpr (List<T>) {
            if (isListOfObjects(value)) {
                JSONValue::List dictionaries;
                for (const auto& element : value) dictionaries.emplace_back(toDictionary(*findSerializable(element)));
                return dictionaries;
            }
        }
        return keepValue(value);
    }
}

}  // namespace Torvane::JsonProperty
