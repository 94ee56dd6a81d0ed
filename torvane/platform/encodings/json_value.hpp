// JSONValue, the variant that JSON text parses to, and the two maps that the library speaks in.
#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// String keys to string values.
using StringMap = std::map<std::string, std::string, std::less<>>;

/// Characters, which are neither numbers nor texts.
template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

/// Integers of which a std::int64_t holds every value.
template <class T>
concept JSONInteger = std::integral<T> && !std::same_as<T, bool> && !Character<T> &&
                      (std::signed_integral<T> || sizeof(T) < sizeof(std::int64_t));

/// Null, a boolean, a 64-bit integer, a double, a string, a list, an object, or an opaque value that is not
/// JSON (an enumeration in a key lookup header, say) and that no JSON text can hold.
class TORVANE_EXPORT JSONValue {
  public:
    /// `List{List{1}}` is a copy of the inner list to some compilers; write `List{JSONValue(List{1})}`.
    using List = std::vector<JSONValue>;
    /// Members by name; text that names a member twice is refused.
    using Object = std::map<std::string, JSONValue, std::less<>>;

    /// @{
    /// Null.
    JSONValue() noexcept = default;
    JSONValue(std::nullptr_t) noexcept {}
    /// @}
    /// Of bool alone: no pointer or number becomes one.
    JSONValue(std::same_as<bool> auto value) noexcept : value_(value) {}
    /// Unsigned integers that need 64 bits are for the caller to narrow.
    template <JSONInteger T>
    JSONValue(T value) noexcept : value_(static_cast<std::int64_t>(value)) {}
    /// A number that is not finite is held, and has no JSON text.
    JSONValue(std::floating_point auto value) noexcept : value_(static_cast<double>(value)) {}
    /// Null for a null pointer.
    JSONValue(const char* text) : value_(text == nullptr ? Variant() : Variant(std::string(text))) {}
    /// @{
    /// Text that is not UTF-8 is held, and has no JSON text.
    JSONValue(std::string_view text) : value_(std::string(text)) {}
    JSONValue(std::string text) noexcept : value_(std::move(text)) {}
    /// @}
    /// @{
    /// Takes the elements over.
    JSONValue(List list) noexcept : value_(std::move(list)) {}
    JSONValue(Object object) noexcept : value_(std::move(object)) {}
    /// @}
    /// A list of strings.
    template <std::same_as<std::vector<std::string>> Strings>
    JSONValue(const Strings& list) : value_(List(list.begin(), list.end())) {}

    /// Copies all that is inside.
    JSONValue(const JSONValue&) = default;
    /// The other keeps its kind, without what was inside.
    JSONValue(JSONValue&&) noexcept = default;
    ~JSONValue() = default;
    /// The other may be a part of this one.
    JSONValue& operator=(JSONValue other) noexcept {
        value_ = std::move(other.value_);
        return *this;
    }

    /// Holds a value of any copyable type as it is.
    template <class T>
    static JSONValue opaque(T value) {
        return holding(std::any(std::move(value)));
    }

    /// JSON's null, which is also the value of a JSONValue made of nothing.
    bool isNull() const noexcept { return std::holds_alternative<std::monostate>(value_); }

    /// @{
    /// The value when it is exactly of type T (bool, std::int64_t, double, std::string, List, Object, or the
    /// type of an opaque value), else null.
    template <class T>
    const T* as() const noexcept {
        if constexpr (isAlternative<T>) {
            return std::get_if<T>(&value_);
        } else {
            const auto* other = std::get_if<std::any>(&value_);
            return other ? std::any_cast<T>(other) : nullptr;
        }
    }

    template <class T>
    T* as() noexcept {
        return const_cast<T*>(std::as_const(*this).template as<T>());
    }
    /// @}

    /// The value as a T: bool, a signed or short integer, a floating-point number, std::string, List, Object,
    /// std::vector of one of these for a list of nothing else, or JSONValue for any. Nothing when it is of another
    /// kind, or a number that the integer cannot hold. An integer is a floating-point number too, and a number
    /// without a fraction an integer, since JSON text does not tell the two apart; nothing else converts.
    template <class T>
    std::optional<T> to() const {
        if constexpr (std::same_as<T, JSONValue>) {
            return *this;
        } else if constexpr (isAlternative<T> && !std::same_as<T, double> && !std::same_as<T, std::int64_t>) {
            const auto* value = as<T>();
            return value ? std::optional<T>(*value) : std::nullopt;
        } else if constexpr (JSONInteger<T>) {
            const auto whole = wholeNumber();
            return whole && std::in_range<T>(*whole) ? std::optional(static_cast<T>(*whole)) : std::nullopt;
        } else if constexpr (std::floating_point<T>) {
            if (const auto* integer = as<std::int64_t>()) return static_cast<T>(*integer);
            const auto* value = as<double>();
            return value ? std::optional(static_cast<T>(*value)) : std::nullopt;
        } else if constexpr (requires { requires std::same_as<T, std::vector<typename T::value_type>>; }) {
            return listOf<typename T::value_type>();
        } else {
            static_assert(alwaysFalse<T>,
                          "A JSON value is read as bool, a signed or short integer, a floating-point "
                          "number, std::string, List, Object, JSONValue, or std::vector of these.");
        }
    }

    /// Calls the visitor with the alternative: std::monostate for null, std::any for an opaque value.
    template <class Visitor>
    decltype(auto) visit(Visitor&& visitor) const {
        return std::visit(std::forward<Visitor>(visitor), value_);
    }

    /// Same kind and same value; an opaque value equals nothing.
    friend bool operator==(const JSONValue& a, const JSONValue& b) {
        return std::visit(
            [&b](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::same_as<T, std::any>) {
                    return false;
                } else {
                    const auto* other = std::get_if<T>(&b.value_);
                    return other != nullptr && *other == value;
                }
            },
            a.value_);
    }

  private:
    using Variant = std::variant<std::monostate, bool, std::int64_t, double, std::string, List, Object, std::any>;

    // Not inline: GCC 12 warns of the inlined code, wrongly.
    static JSONValue holding(std::any opaque);

    template <class T>
    static constexpr bool isAlternative =
        std::same_as<T, bool> || std::same_as<T, std::int64_t> || std::same_as<T, double> ||
        std::same_as<T, std::string> || std::same_as<T, List> || std::same_as<T, Object>;

    template <class T>
    static constexpr bool alwaysFalse = false;

    template <class T>
    std::optional<std::vector<T>> listOf() const {
        const auto* list = as<List>();
        if (list == nullptr) return std::nullopt;
        std::vector<T> result;
        result.reserve(list->size());
        for (const auto& element : *list) {
            auto converted = element.to<T>();
            if (!converted) return std::nullopt;
            result.push_back(*std::move(converted));
        }
        return result;
    }
    /// The integer, or the double that is one.
    std::optional<std::int64_t> wholeNumber() const noexcept;

    Variant value_;
};

/// Wipes every string in the value, member names apart: for JSON that held a key.
TORVANE_EXPORT void wipeStrings(JSONValue& value) noexcept;

/// JSON that may hold a key: all its strings are wiped when it goes.
class SecretJSON {
  public:
    /// Takes the value over.
    explicit SecretJSON(JSONValue value) noexcept : value_(std::move(value)) {}
    ~SecretJSON() { wipeStrings(value_); }
    SecretJSON(const SecretJSON&) = delete;
    SecretJSON& operator=(const SecretJSON&) = delete;

    /// A copy of a string inside is for the caller to wipe.
    const JSONValue& get() const noexcept { return value_; }

  private:
    JSONValue value_;
};

/// Every member as a string value.
inline JSONValue::Object toJSONObject(const StringMap& map) {
    return {map.begin(), map.end()};
}

/// The object's members when the value is an object of strings only, else nothing.
inline std::optional<StringMap> toStringMap(const JSONValue& value) {
    const auto* object = value.as<JSONValue::Object>();
    if (object == nullptr) return std::nullopt;
    StringMap map;
    for (const auto& [name, member] : *object) {
        const auto* text = member.as<std::string>();
        if (text == nullptr) return std::nullopt;
        map.emplace_hint(map.end(), name, *text);
    }
    return map;
}

/// The member's value when it is there and a string, else null.
inline const std::string* stringMember(const JSONValue::Object& object, std::string_view name) noexcept {
    const auto member = object.find(name);
    return member == object.end() ? nullptr : member->second.as<std::string>();
}

}  // namespace Torvane
