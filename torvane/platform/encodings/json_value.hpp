// JSONValue, the variant that JSON text is parsed to, with its lists and objects.
//
//     Torvane::JSONValue::Object payment{{"amount", 12.5}, {"tags", Torvane::JSONValue::List::of("rent", "home")}};
//     payment["payee"] = std::map<std::string, std::string>{{"name", "Ada"}};
//     if (const auto amount = payment.at("amount").to<double>()) std::cout << *amount << '\n';
//     std::cout << payment << '\n';  // {"amount":12.5,"payee":{"name":"Ada"},"tags":["rent","home"]}
#pragma once

#include <any>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"

namespace Torvane {

class JSONValue;

/// String keys to string values.
using StringMap = std::map<std::string, std::string, std::less<>>;

/// Character types, which JSONValue treats neither as numbers nor as strings.
template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

/// Integers of at most 64 bits.
template <class T>
concept JSONInteger = std::integral<T> && !std::same_as<T, bool> && !Character<T> && sizeof(T) <= sizeof(std::int64_t);

/// Elements of a list. A ByteBuffer is not taken for a list of numbers: it has to be encoded first, as base64url for
/// example.
template <class T>
concept JSONElement = !std::same_as<T, std::uint8_t> && std::convertible_to<const T&, JSONValue>;

/// A std::map, std::unordered_map or similar type, with text keys and values that convert to JSONValue.
template <class T>
concept JSONMap = requires(const T& map, const typename T::key_type& key) {
    { map.at(key) } -> std::same_as<const typename T::mapped_type&>;
    { key } -> std::convertible_to<std::string_view>;
    { map.at(key) } -> std::convertible_to<JSONValue>;
};

/// Types that JSONValue holds without conversion, by JSONValue::opaque(): copyable and not convertible to JSONValue.
template <class T>
concept OpaqueType = std::copy_constructible<T> && std::same_as<T, std::decay_t<T>> && !std::same_as<T, std::any> &&
                     !std::convertible_to<T, JSONValue>;

/// The elements of a JSON list: a vector that is built by of(). It has no constructor from a braced list, because
/// compilers disagree on whether a vector built as `List{List{1}}` contains a list or is a copy of the inner one.
class JSONList : public std::vector<JSONValue> {
  public:
    /// An empty list.
    JSONList() = default;
    /// Copies a range of values that convert to JSONValue.
    template <std::input_iterator Iterator>
    requires std::convertible_to<std::iter_reference_t<Iterator>, JSONValue> JSONList(Iterator first, Iterator last)
        : std::vector<JSONValue>(first, last) {}

    /// A list of exactly these elements: `of(of(1))` is a list that holds a list.
    template <std::convertible_to<JSONValue>... Values>
    [[nodiscard]] static JSONList of(Values&&... values);

    /// Writes the list in a human-readable form, as JSONValue is written.
    TORVANE_EXPORT friend std::ostream& operator<<(std::ostream& out, const JSONList& list);
};

/// Null, a boolean, a 64-bit integer, a double, a string, a list, an object, or an opaque value that is not JSON, such
/// as a JWKUse among the criteria of JsonWebKeySet::findKeysFor(). An opaque value cannot be written as JSON text. A
/// moved-from value stays usable and is of the same kind as before, but what it contains is unspecified.
class TORVANE_EXPORT JSONValue {
  public:
    /// The elements of a list; List::of(1, "x") makes one.
    using List = JSONList;
    /// Members by name.
    using Object = std::map<std::string, JSONValue, std::less<>>;

    /// @{
    /// Null.
    JSONValue() noexcept = default;
    JSONValue(std::nullptr_t) noexcept {}
    /// @}
    /// Only from bool itself: no pointer or number becomes a boolean.
    JSONValue(std::same_as<bool> auto value) noexcept : value_(value) {}
    /// An unsigned integer above the range of std::int64_t becomes a double, as when it is read from JSON text.
    template <JSONInteger T>
    JSONValue(T value) noexcept : value_(static_cast<std::int64_t>(value)) {
        if (!std::in_range<std::int64_t>(value)) value_ = Variant(static_cast<double>(value));
    }
    /// Infinities and NaN can be held, but not written as JSON text.
    JSONValue(std::floating_point auto value) noexcept : value_(static_cast<double>(value)) {}
    /// Null for a null pointer.
    JSONValue(const char* text) : value_(text == nullptr ? Variant() : Variant(std::string(text))) {}
    /// @{
    /// Text that is not UTF-8 can be held, but not written as JSON text.
    JSONValue(std::string_view text) : value_(std::string(text)) {}
    JSONValue(std::string text) noexcept : value_(std::move(text)) {}
    /// @}
    /// @{
    /// Moves the elements or members in.
    JSONValue(List list) noexcept : value_(std::move(list)) {}
    JSONValue(Object object) noexcept : value_(std::move(object)) {}
    /// @}
    /// A list of the elements, each converted.
    template <JSONElement T, class Allocator>
    JSONValue(const std::vector<T, Allocator>& elements) : value_(List()) {
        auto& list = *std::get_if<List>(&value_);
        list.reserve(elements.size());
        for (const T& element : elements) list.emplace_back(element);
    }
    /// An object of the members, each converted. If keys are equal as text, the first one is kept.
    template <JSONMap Map>
    JSONValue(const Map& map) : value_(Object()) {
        auto& object = *std::get_if<Object>(&value_);
        for (const auto& [name, member] : map) object.emplace(std::string_view(name), member);
    }

    /// Copies everything inside.
    JSONValue(const JSONValue&) = default;
    /// The other value keeps its kind; its contents are unspecified.
    JSONValue(JSONValue&&) noexcept = default;
    ~JSONValue() = default;
    /// The other value may be a part of this one.
    JSONValue& operator=(JSONValue other) noexcept {
        value_ = std::move(other.value_);
        return *this;
    }

    /// Holds a value without conversion; as<T>() returns it. Of a std::any, as<T>() returns the value inside. The
    /// compiler rejects values of a type that converts to JSONValue.
    template <class T>
    [[nodiscard]] static JSONValue opaque(T value) {
        static_assert(OpaqueType<T> || std::same_as<T, std::any>,
                      "opaque() takes copyable values of types that do not convert to JSONValue.");
        return holding(std::any(std::move(value)));
    }

    /// Whether this is JSON's null, which is also what a default-constructed value is.
    [[nodiscard]] bool isNull() const noexcept { return std::holds_alternative<std::monostate>(value_); }

    /// @{
    /// The value when it is held as exactly a T (bool, std::int64_t, double, std::string, List, Object, or the type of
    /// an opaque value), else null; valid until the value changes. The compiler rejects types that are never held, such
    /// as int.
    template <class T>
    [[nodiscard]] const T* as() const noexcept TORVANE_LIFETIMEBOUND {
        if constexpr (isAlternative<T>) {
            return std::get_if<T>(&value_);
        } else {
            static_assert(OpaqueType<T>, "A JSONValue never holds this type; to<T>() converts to it.");
            const auto* other = std::get_if<std::any>(&value_);
            return other ? std::any_cast<T>(other) : nullptr;
        }
    }

    template <class T>
    [[nodiscard]] T* as() noexcept TORVANE_LIFETIMEBOUND {
        return const_cast<T*>(std::as_const(*this).template as<T>());
    }
    /// @}

    /// The value converted to a T: bool, an integer, a floating-point number, std::string, List, Object, a std::vector
    /// of one of these, or JSONValue itself. Nothing when the value is of another kind or a T cannot hold the number.
    /// Integers convert to floating-point numbers, and numbers without a fraction to integers, since JSON text does not
    /// tell the two apart; even for std::uint64_t, the number has to fit std::int64_t. Nothing else converts.
    template <class T>
    [[nodiscard]] std::optional<T> to() const {
        if constexpr (std::same_as<T, JSONValue>) {
            return *this;
        } else if constexpr (JSONInteger<T>) {
            const auto whole = wholeNumber();
            return whole && std::in_range<T>(*whole) ? std::optional(static_cast<T>(*whole)) : std::nullopt;
        } else if constexpr (std::floating_point<T>) {
            if (const auto* integer = as<std::int64_t>()) return static_cast<T>(*integer);
            const auto* value = as<double>();
            if (value == nullptr || (std::isfinite(*value) && std::abs(*value) > std::numeric_limits<T>::max())) {
                return std::nullopt;
            }
            return static_cast<T>(*value);
        } else if constexpr (isAlternative<T>) {
            const auto* value = as<T>();
            return value ? std::optional<T>(*value) : std::nullopt;
        } else if constexpr (requires { requires std::same_as<T, std::vector<typename T::value_type>>; }) {
            return toVector<typename T::value_type>();
        } else {
            static_assert(alwaysFalse<T>,
                          "A JSON value is converted to bool, an integer, a floating-point number, std::string, List, "
                          "Object, JSONValue, or std::vector of these.");
        }
    }

    /// Calls the visitor with the alternative: std::monostate for null, std::any for an opaque value.
    template <class Visitor>
    [[nodiscard]] decltype(auto) visit(Visitor&& visitor) const {
        return std::visit(std::forward<Visitor>(visitor), value_);
    }

    /// Equal when both have the same kind and value. Numbers are one kind and compared exactly: 1 equals 1.0, but the
    /// integer 2^53 + 1 differs from the double 2^53. NaN and opaque values equal nothing.
    TORVANE_EXPORT friend bool operator==(const JSONValue& a, const JSONValue& b);

    /// Writes the value in a human-readable form: compact JSON text with `<opaque>`, `nan` and `inf` where JSON has no
    /// text, and `\xFF` for bytes that are not UTF-8. JSONSerialization writes JSON text.
    TORVANE_EXPORT friend std::ostream& operator<<(std::ostream& out, const JSONValue& value);

  private:
    using Variant = std::variant<std::monostate, bool, std::int64_t, double, std::string, List, Object, std::any>;

    // Not inline, since GCC 12 gives a false warning for the inlined code.
    [[nodiscard]] static JSONValue holding(std::any opaque);

    template <class T>
    static constexpr bool isAlternative =
        std::same_as<T, bool> || std::same_as<T, std::int64_t> || std::same_as<T, double> ||
        std::same_as<T, std::string> || std::same_as<T, List> || std::same_as<T, Object>;

    template <class T>
    static constexpr bool alwaysFalse = false;

    template <class T>
    [[nodiscard]] std::optional<std::vector<T>> toVector() const {
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
    /// The integer, or the double when it has no fraction and fits.
    [[nodiscard]] std::optional<std::int64_t> wholeNumber() const noexcept;

    Variant value_;
};

template <std::convertible_to<JSONValue>... Values>
JSONList JSONList::of(Values&&... values) {
    JSONList list;
    list.reserve(sizeof...(values));
    (list.emplace_back(std::forward<Values>(values)), ...);
    return list;
}

/// Wipes every string in the value except member names: for JSON that held a key.
TORVANE_EXPORT void wipeStrings(JSONValue& value) noexcept;

/// JSON that may hold a key: its destructor wipes all strings except member names.
class SecretJSON {
  public:
    /// Moves the value in.
    explicit SecretJSON(JSONValue value) noexcept : value_(std::move(value)) {}
    ~SecretJSON() { wipeStrings(value_); }
    SecretJSON(const SecretJSON&) = delete;
    SecretJSON& operator=(const SecretJSON&) = delete;

    /// The value. The caller has to wipe any string copied from it.
    [[nodiscard]] const JSONValue& get() const noexcept { return value_; }
    /// The value, which the caller has to wipe.
    [[nodiscard]] JSONValue take() && noexcept { return std::move(value_); }

  private:
    JSONValue value_;
};

/// The map as a JSON object of strings.
[[nodiscard]] inline JSONValue::Object toJSONObject(const StringMap& map) {
    return {map.begin(), map.end()};
}

/// The members of an object whose values are all strings; nothing for any other value.
[[nodiscard]] inline std::optional<StringMap> toStringMap(const JSONValue& value) {
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

/// The value of the member with this name when it is a string, else null. Valid until the object changes.
[[nodiscard]] inline const std::string* stringMember(const JSONValue::Object& object, std::string_view name) noexcept {
    const auto member = object.find(name);
    return member == object.end() ? nullptr : member->second.as<std::string>();
}

}  // namespace Torvane
