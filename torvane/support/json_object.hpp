// Classes that are converted to JSON and back: each lists its properties, and its JSON text follows from the list.
//
//     class Transfer : public Torvane::JsonSerializeObject, public Torvane::JsonSerializeProtocol {
//       public:
//         Transfer() = default;
//         explicit Transfer(const Torvane::JSONValue::Object& dict)
//             : purpose(Torvane::requiredMember<std::string>(dict, "purpose")) {}
//
//         std::string purpose;
//         std::optional<std::string> note;
//
//       protected:
//         Properties properties() const override {
//             return {{{"purpose", purpose}, {"note", note}}, JsonSerializeObject::properties()};
//         }
//     };
//
//     Transfer transfer;
//     transfer.purpose = "rent";
//     const std::string text = transfer.toJsonString();  // {"purpose":"rent"}
//     const auto received = Torvane::fromJsonString<Transfer>(text);
//
// Objects can be neither copied nor moved, unless their class says otherwise, as JWTClaims does. They must not be
// changed from two threads at once.
#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/support/errors.hpp"
#include "torvane/support/json_property.hpp"

namespace Torvane {

/// Conversion to JSON. Both functions throw on failure.
class TORVANE_EXPORT JsonConvertible {
  public:
    JsonConvertible() = default;
    virtual ~JsonConvertible() = default;
    JsonConvertible(const JsonConvertible&) = delete;
    JsonConvertible& operator=(const JsonConvertible&) = delete;

    /// The members as a map, for further processing. Values that are not JSON are included.
    [[nodiscard]] virtual JSONValue::Object toDictionary() const = 0;
    /// Compact JSON text in UTF-8.
    [[nodiscard]] virtual std::string toJsonString() const = 0;
};

/// Second base of classes that fromJsonString() reads, and of classes whose objects are properties of other objects.
class TORVANE_EXPORT JsonSerializeProtocol : public virtual JsonConvertible {};

/// Base of classes that are converted to JSON by a list of their properties. A class overrides properties() to be
/// written as JSON. To be read by fromJsonString() it also derives from JsonSerializeProtocol, and has a constructor
/// from a JSONValue::Object, in which requiredMember() and optionalMember() find the values.
class TORVANE_EXPORT JsonSerializeObject : public virtual JsonConvertible {
  public:
    JsonSerializeObject() = default;

    /// Always throws. A class that cannot be read from JSON inherits this constructor by a using-declaration, so that
    /// fromJsonString() compiles for it.
    /// @throws JsonSerializeError missingRequiredInit.
    [[noreturn]] explicit JsonSerializeObject(const JSONValue::Object& dict);

    /// The properties as a JSON object. Values that are not JSON are included; toJsonString() rejects them.
    /// @throws what toDictionary() of an object inside throws.
    [[nodiscard]] JSONValue::Object toDictionary() const override;

    /// toDictionary() as compact JSON text in UTF-8, written as by JSONSerialization::data().
    /// @throws JsonSerializeError failedToParseJson "Invalid parameters in the dictionary." when a value is not JSON
    ///         (NaN, text that is not UTF-8, bytes, a type of the application's); and what toDictionary() throws.
    [[nodiscard]] std::string toJsonString() const override;

  protected:
    /// The name and value of one property. How the value is converted depends on its type:
    /// - an enumeration, an absent optional and a null pointer are left out;
    /// - an object (or a pointer to one) becomes its toDictionary(), and a list of only such objects becomes a list of
    ///   their dictionaries. Only classes that also derive from JsonSerializeProtocol count as objects here;
    /// - a present optional is converted as the value that it holds, except that an enumeration in it is kept as it is;
    /// - any other value is kept as it is, whether it is JSON or not.
    ///
    /// The compiler rejects types that can never be JSON: characters, pointers to anything but objects or text, maps
    /// whose keys are not text, and types that cannot be copied.
    class TORVANE_EXPORT Property;

    /// The properties of an object, as properties() returns them.
    class TORVANE_EXPORT Properties {
      public:
        /// The class's own properties, and the inherited ones whose names are not among them. Where the class gives a
        /// name twice, the last counts.
        Properties(std::initializer_list<Property> own, Properties inherited);
        /// Does not compile, so that a class cannot lose the properties that it inherits.
        Properties(std::initializer_list<Property> own) = delete;  // Add Base::properties() after the list.

      private:
        friend class JsonSerializeObject;
        Properties() = default;

        JSONValue::Object members_;
    };

    /// The properties that are converted. An override returns its own properties and those of its direct base class,
    /// for example in a class derived from Transfer `return {{{"iban", iban}}, Transfer::properties()};`.
    /// JsonSerializeObject::properties() has none. The JSON text has them in the order of their names. A class without
    /// properties of its own does not override this.
    [[nodiscard]] virtual Properties properties() const;
};

/// One property in the list that properties() returns.
class TORVANE_EXPORT JsonSerializeObject::Property {
  public:
    /// Converts the value in the constructor.
    template <class T>
    Property(std::string name, const T& value) : name_(std::move(name)), value_(JsonProperty::convertValue(value)) {}

  private:
    friend class Properties;
    // Mutable, so that they can be moved out of the braced list, whose elements are const.
    mutable std::string name_;
    mutable std::optional<JSONValue> value_;
};

/// Conversion between JSON values and JSON text. An application's class may derive from it and hide either function.
class TORVANE_EXPORT JsonCodeHelper {
  public:
    JsonCodeHelper() = delete;

    /// A list or an object as compact JSON text in UTF-8.
    /// @throws JsonSerializeError failedToParseJson "Invalid parameters in the dictionary." when the value is not a
    ///         list or object, or contains a value that is not JSON.
    [[nodiscard]] static ByteBuffer encodeAndConvertToJson(const JSONValue& value);

    /// @{
    /// Reads a value of any kind from JSON text, strictly, as JSONSerialization::jsonObject() does. Applies the limits
    /// jsonDepth and jsonMembers.
    /// @throws JsonSerializeError failedToParseJson "Failed to parse response to JSON. " and the reader's reason.
    [[nodiscard]] static JSONValue decodeCodeJson(ByteView data, const Limits& limits = {});
    [[nodiscard]] static JSONValue decodeCodeJson(const TextLike auto& text, const Limits& limits = {}) {
        return decodeCodeJson(asBytes(text), limits);
    }
    /// @}
};

/// The members of a JSON object, read from text. Applies the limits jsonDepth and jsonMembers.
/// @throws JsonSerializeError failedToParseJson as JsonCodeHelper::decodeCodeJson(), and invalidJsonString when the
///         text is JSON, but not an object.
[[nodiscard]] TORVANE_EXPORT JSONValue::Object dictFromJsonString(std::string_view jsonString,
                                                                  const Limits& limits = {});

/// Reads a T from the text of a JSON object, by T's constructor from JSONValue::Object. Applies the limits jsonDepth
/// and jsonMembers.
/// @throws JsonSerializeError as dictFromJsonString(), and what the constructor throws.
template <std::derived_from<JsonSerializeObject> T>
requires std::derived_from<T, JsonSerializeProtocol>
[[nodiscard]] T fromJsonString(std::string_view jsonString, const Limits& limits = {}) {
    static_assert(std::constructible_from<T, JSONValue::Object>,
                  "A class that is read from JSON needs a constructor from JSONValue::Object.");
    return T(dictFromJsonString(jsonString, limits));
}

/// The member converted by JSONValue::to<T>(); nothing when it is missing or does not convert.
template <class T>
[[nodiscard]] std::optional<T> optionalMember(const JSONValue::Object& dict, std::string_view key) {
    const auto member = dict.find(key);
    return member == dict.end() ? std::nullopt : member->second.to<T>();
}

/// The member converted by JSONValue::to<T>().
/// @throws JsonSerializeError missingRequiredInformationForKey when it is missing or does not convert.
template <class T>
[[nodiscard]] T requiredMember(const JSONValue::Object& dict, std::string_view key) {
    auto value = optionalMember<T>(dict, key);
    if (!value) throw JsonSerializeError::missingRequiredInformationForKey(std::string(key));
    return *std::move(value);
}

}  // namespace Torvane
