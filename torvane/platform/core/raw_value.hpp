// Enumerations that stand for protocol values: one table a type, two functions for all of them.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Torvane {

/// The protocol's name of an enumerator, for example "RS256".
///
/// A type E takes part through a function `valueTable(E)`, found beside E, that returns a constexpr array
/// with one entry an enumerator, in their order, each with a member `name`.
template <class E>
constexpr std::string_view rawValue(E value) noexcept {
    return valueTable(value)[static_cast<std::size_t>(value)].name;
}

/// The enumerator of a name; exact and case-sensitive, nothing for any other text.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view name) noexcept {
    std::size_t index = 0;
    for (const auto& entry : valueTable(E{})) {
        if (entry.name == name) return static_cast<E>(index);
        ++index;
    }
    return std::nullopt;
}

}  // namespace Torvane
