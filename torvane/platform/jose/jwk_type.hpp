// JWKType: the key family that the "kty" member of a JWK names (RFC 7517, section 4.1).
//
//     std::optional<Torvane::JWKType> type = Torvane::fromRawValue<Torvane::JWKType>("EC");
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

#include "torvane/platform/core/export.hpp"
#include "torvane/platform/core/raw_value.hpp"

namespace Torvane {

/// "RSA" or "EC". rawValue(type) returns the text; fromRawValue<JWKType>(text) returns the type for exactly these two
/// texts and nothing for any other.
enum class TORVANE_EXPORT JWKType {
    RSA,  ///< "RSA" (RFC 7518, section 6.3).
    EC,   ///< "EC" (RFC 7518, section 6.2).
};

/// One entry of a table for rawValue() and fromRawValue().
struct NamedValue {
    /// The text in a JWK.
    std::string_view name;
};

/// The texts, in the order of the enumerators.
constexpr auto valueTable(JWKType) noexcept {
    return std::array<NamedValue, 2>{{{"RSA"}, {"EC"}}};
}

}  // namespace Torvane

/// The hash of the raw value.
template <>
struct std::hash<Torvane::JWKType> {
    std::size_t operator()(Torvane::JWKType type) const noexcept {
        return std::hash<std::string_view>()(Torvane::rawValue(type));
    }
};
