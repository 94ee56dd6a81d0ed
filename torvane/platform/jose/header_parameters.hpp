// Extra members of a protected header, as an argument.
//
//     using Torvane::JSONValue;
//     const Torvane::JOSE::HeaderParameters texts{{"typ", "JWT"}, {"cty", "example"}};
//     const Torvane::JOSE::HeaderParameters mixed{{"typ", "JWT"}, {"level", 2}, {"tags", JSONValue::List::of("a",
//     "b")}};
#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// Members by name: texts in UTF-8, and JSON values of any other kind. A map that is absent counts as an empty one. A
/// value that is not JSON, and a member that a header rejects, are found when the header is made.
class TORVANE_EXPORT HeaderParameters {
    // What braces within a pair mean: `{"name", {}}` is an empty text, and two values in the inner braces are an error.
    struct Text {
        Text() = default;
        template <std::convertible_to<std::string> T>
        Text(const T& text) : value(text) {}

        std::string value;
    };

  public:
    /// One pair of a braced list, `{"name", value}`; the value is anything that converts to JSONValue or std::string.
    struct Member {
        /// @{
        /// From the two, or from a std::pair of them.
        template <std::convertible_to<JSONValue> Value>
        Member(std::string memberName, Value memberValue)
            : name(std::move(memberName)), value(std::move(memberValue)) {}
        Member(std::string memberName, Text text) : name(std::move(memberName)), value(std::move(text.value)) {}
        template <class Name, class Value>
        Member(std::pair<Name, Value> pair) : Member(std::move(pair.first), std::move(pair.second)) {}
        /// @}

        /// @{
        /// The pair.
        std::string name;
        JSONValue value;
        /// @}
    };

    /// @{
    /// No members: what `{}` and std::nullopt mean.
    HeaderParameters() = default;
    HeaderParameters(std::nullopt_t) noexcept {}
    /// @}
    /// A braced list of `{"name", value}` pairs, one or several. If a name occurs twice, the first value is kept.
    HeaderParameters(std::initializer_list<Member> members) {
        for (const auto& [name, value] : members) add(name, value);
    }
    /// @{
    /// The members of a map.
    HeaderParameters(StringMap members) noexcept : members_(std::move(members)) {}
    HeaderParameters(std::optional<StringMap> members) : members_(members ? *std::move(members) : StringMap()) {}
    HeaderParameters(const JSONValue::Object& members) {
        for (const auto& [name, value] : members) add(name, value);
    }
    /// @}

    /// The members that are texts; valid as long as this object.
    [[nodiscard]] const StringMap& members() const noexcept { return members_; }
    /// The members that are not texts; valid as long as this object. No name is also one of members().
    [[nodiscard]] const JSONValue::Object& otherMembers() const noexcept { return otherMembers_; }

  private:
    void add(const std::string& name, JSONValue value) {
        if (members_.contains(name) || otherMembers_.contains(name)) return;
        if (auto* text = value.as<std::string>()) {
            members_.emplace(name, std::move(*text));
        } else {
            otherMembers_.emplace(name, std::move(value));
        }
    }

    StringMap members_;
    JSONValue::Object otherMembers_;
};

}  // namespace Torvane::JOSE
