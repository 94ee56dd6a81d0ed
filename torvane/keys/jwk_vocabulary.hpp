// The words of JSON Web Keys: what a key is for, its family, and the member names (RFC 7517, section 4).
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/raw_value.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane {

/// The "use" member: "sig", "enc", and this library's own "sig_enc" for both. rawValue(use) gives the text
/// and fromRawValue<JWKUse>(text) the use, for these three texts exactly.
enum class TORVANE_EXPORT JWKUse {
    JWK_SIG,      ///< "sig": the private half signs, the public half verifies.
    JWK_ENC,      ///< "enc": the public half encrypts, the private half decrypts.
    JWK_SIG_ENC,  ///< "sig_enc": for either, as a JWK without a "use" is read.
};

/// The "kty" member: "RSA" or "EC".
enum class TORVANE_EXPORT JWKType {
    RSA,  ///< RFC 7518, section 6.3.
    EC,   ///< RFC 7518, section 6.2.
};

/// One entry of a table for rawValue() and fromRawValue().
struct NamedValue {
    /// As it stands in a JWK.
    std::string_view name;
};

/// @{
/// The texts, in the order of the enumerators.
constexpr auto valueTable(JWKUse) noexcept {
    return std::array<NamedValue, 3>{{{"sig"}, {"enc"}, {"sig_enc"}}};
}
constexpr auto valueTable(JWKType) noexcept {
    return std::array<NamedValue, 2>{{{"RSA"}, {"EC"}}};
}
/// @}

/// RSA2048Key or EC256Key, whatever the size or curve of the key at hand.
constexpr Zennet::KeyType getKeyType(JWKType type) noexcept {
    return type == JWKType::RSA ? Zennet::KeyType::RSA2048Key : Zennet::KeyType::EC256Key;
}

/// Member names of a JWK.
struct JWKParameters {
    JWKParameters() = delete;

    /// The JWKUse, as text.
    static constexpr std::string_view jwk_key_use = "use";
    /// The JWKType, as text.
    static constexpr std::string_view jwk_key_kty = "kty";
    /// The key's id.
    static constexpr std::string_view jwk_key_kid = "kid";
    /// The only algorithm that the key is for.
    static constexpr std::string_view jwk_key_alg = "alg";
    /// The public exponent of an RSA key.
    static constexpr std::string_view jwk_key_e = "e";
};

}  // namespace Torvane

/// The hash of the raw value.
template <>
struct std::hash<Torvane::JWKUse> {
    std::size_t operator()(Torvane::JWKUse use) const noexcept {
        return std::hash<std::string_view>()(Torvane::rawValue(use));
    }
};

template <>
struct std::hash<Torvane::JWKType> {
    std::size_t operator()(Torvane::JWKType type) const noexcept {
        return std::hash<std::string_view>()(Torvane::rawValue(type));
    }
};
