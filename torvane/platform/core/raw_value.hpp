// Conversion between enumerators and the protocol's names for them, for example RS256 and "RS256".
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Torvane {

/// The protocol's name of an enumerator, for example "RS256".
///
/// An enumeration E supports this by a function `valueTable(E)` in its namespace. The function returns a constexpr
/// array with one entry for each enumerator, in their order; each entry has a member `name`.
template <class E>
[[nodiscard]] constexpr std::string_view rawValue(E value) noexcept {
    return valueTable(value)[static_cast<std::size_t>(value)].name;
}

/// The enumerator with this name, which is compared exactly, case included. Nothing for any other text.
template <class E>
[[nodiscard]] constexpr std::optional<E> fromRawValue(std::string_view name) noexcept {
    std::size_t index = 0;
    for (const auto& entry : valueTable(E{})) {
        if (entry.name == name) return static_cast<E>(index);
        ++index;
    }
    return std::nullopt;
}

}  // namespace Torvane
