// Objects to JSON and back: a class lists its properties, one a line, and has its JSON text from there.
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
//             return {
//                 {"purpose", purpose},
//                 {"note", note},
//             };
//         }
//     };
//
//     std::string text = transfer.toJsonString();
//     auto transfer = Torvane::fromJsonString<Transfer>(text);
//
// Objects have identity: they are neither copied nor moved, and not to be changed from two threads at once.
#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/support/errors.hpp"
#include "torvane/support/json_property.hpp"

namespace Torvane {

/// The way out, to JSON. Either throws what stands in its way.
class TORVANE_EXPORT JsonConvertible {
  public:
    JsonConvertible() = default;
    virtual ~JsonConvertible() = default;
    JsonConvertible(const JsonConvertible&) = delete;
    JsonConvertible& operator=(const JsonConvertible&) = delete;

    /// The members, for whoever goes on with them; may hold values that are not JSON.
    virtual JSONValue::Object toDictionary() const = 0;
    /// Compact JSON text in UTF-8.
    virtual std::string toJsonString() const = 0;
};

/// What a class derives from, besides JsonSerializeObject, to be read by fromJsonString() and to be converted
/// where it stands inside another object.
class TORVANE_EXPORT JsonSerializeProtocol : public virtual JsonConvertible {};

/// The base of classes that convert themselves by listing their properties.
class TORVANE_EXPORT JsonSerializeObject : public virtual JsonConvertible {
  public:
    JsonSerializeObject() = default;

    /// For classes that are not read: `using JsonSerializeObject::JsonSerializeObject`.
    /// @throws JsonSerializeError missingRequiredInit, always.
    [[noreturn]] explicit JsonSerializeObject(const JSONValue::Object& dict);

    /// The properties as a JSON object. Nothing is checked but by toJsonString().
    /// @throws whatever the conversion of an object inside throws.
    JSONValue::Object toDictionary() const override;

    /// Compact JSON text of toDictionary(), with "/" written as "\/".
    /// @throws JsonSerializeError failedToParseJson "Invalid parameters in the dictionary." when it holds a value that
    ///         is not JSON: not a number, text that is not UTF-8, bytes, a type of your own; and as toDictionary().
    std::string toJsonString() const override;

  protected:
    /// A name and a value, or the properties of the class above. By the type of the value:
    /// - an enumeration is left out, and so are an absent optional and a null pointer;
    /// - an object (or a pointer to one) gives its toDictionary(), a list of nothing but those a list of theirs;
    ///   one that does not derive from JsonSerializeProtocol is none;
    /// - anything else is taken as it is, be it JSON or not, a present optional as what it holds.
    /// What would never be JSON is refused by the compiler where it can tell: characters, unsigned 64-bit
    /// integers, pointers to what is no object, maps whose keys are not text, and what cannot be copied.
    class TORVANE_EXPORT Property;

    /// What properties() returns: a braced list of properties. The last of a name counts, and one of the class
    /// itself before one of the class above.
    class TORVANE_EXPORT Properties {
      public:
        Properties() = default;
        /// Moves the properties out of the list.
        Properties(std::initializer_list<Property> list);

      private:
        friend class JsonSerializeObject;
        JSONValue::Object members_;
    };

    /// The properties of a class, those of the class above last: `{{"iban", iban}, Transfer::properties()}`. Without
    /// that last one they are lost. A class that adds none has no need to override it.
    virtual Properties properties() const;
};

/// One line of the list that properties() returns.
class TORVANE_EXPORT JsonSerializeObject::Property {
  public:
    /// Converts the value at once; a name may come more than once.
    template <class T>
    Property(std::string name, const T& value) {
        if (auto converted = JsonProperty::converted(value)) members_.emplace(std::move(name), *std::move(converted));
    }
    /// All properties of the class above, as its properties() returns them.
    Property(Properties inherited) : members_(std::move(inherited.members_)), inherited_(true) {}

  private:
    friend class Properties;
    // Mutable, to be moved out of the braced list, whose elements are const.
    mutable JSONValue::Object members_;
    bool inherited_ = false;
};

/// JSON values to bytes and back. Class-level; a class of your own may derive from it and hide either.
class TORVANE_EXPORT JsonCodeHelper {
  public:
    JsonCodeHelper() = delete;

    /// Compact JSON text of a list or an object.
    /// @throws JsonSerializeError failedToParseJson "Invalid parameters in the dictionary." for any other value, and
    ///         when it holds one that is not JSON.
    static ByteBuffer encodeAndConvertToJson(const JSONValue& value);

    /// A value of any kind from JSON text (RFC 8259), read strictly.
    /// @throws JsonSerializeError failedToParseJson "Failed to parse response to JSON. " and the reader's reason.
    static JSONValue decodeCodeJson(ByteView data);
};

/// The members of the JSON object that a text holds, for fromJsonString().
/// @throws JsonSerializeError failedToParseJson as JsonCodeHelper::decodeCodeJson(); invalidJsonString for JSON
///         that is not an object.
TORVANE_EXPORT JSONValue::Object dictFromJsonString(std::string_view jsonString);

/// The T that a JSON text holds, made by T's own constructor from a JSON object.
/// @throws JsonSerializeError as dictFromJsonString(), and whatever the constructor throws.
template <std::derived_from<JsonSerializeObject> T>
requires std::derived_from<T, JsonSerializeProtocol> T fromJsonString(std::string_view jsonString) {
    static_assert(std::constructible_from<T, JSONValue::Object>,
                  "A class that is read from JSON needs a constructor from JSONValue::Object.");
    return T(dictFromJsonString(jsonString));
}

/// A member as a T, as JSONValue::to() converts it; nothing when it is missing or of another kind.
template <class T>
std::optional<T> optionalMember(const JSONValue::Object& dict, std::string_view key) {
    const auto member = dict.find(key);
    return member == dict.end() ? std::nullopt : member->second.to<T>();
}

/// The same, for a member that has to be there.
/// @throws JsonSerializeError missingRequiredInformationForKey when it is missing or of another kind.
template <class T>
T requiredMember(const JSONValue::Object& dict, std::string_view key) {
    auto value = optionalMember<T>(dict, key);
    if (!value) throw JsonSerializeError::missingRequiredInformationForKey(std::string(key));
    return *std::move(value);
}

}  // namespace Torvane
