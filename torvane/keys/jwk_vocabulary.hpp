// Vocabulary of JSON Web Keys: the purpose of a key (JWKUse), its family (JWKType), and the names of its members (RFC
// 7517, section 4).
//
//     std::optional<Torvane::JWKUse> use = Torvane::fromRawValue<Torvane::JWKUse>("enc");
//     std::string_view text = Torvane::rawValue(Torvane::JWKUse::JWK_SIG);
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string_view>

#include "torvane/platform/core/export.hpp"
#include "torvane/platform/core/raw_value.hpp"
#include "torvane/platform/jose/jwk_type.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane {

/// The purpose of a key: "use" in a JWK, where "sig_enc" is this library's own value. rawValue(use) returns the text;
/// fromRawValue<JWKUse>(text) returns the use for exactly these three texts and nothing for any other.
enum class TORVANE_EXPORT JWKUse {
    JWK_SIG,      ///< "sig": the private key signs, the public key verifies.
    JWK_ENC,      ///< "enc": the public key encrypts, the private key decrypts.
    JWK_SIG_ENC,  ///< "sig_enc": both. A JWK with no or an unknown "use" is read as this.
};

/// The texts, in the order of the enumerators.
constexpr auto valueTable(JWKUse) noexcept {
    return std::array<NamedValue, 3>{{{"sig"}, {"enc"}, {"sig_enc"}}};
}

/// Writes the text, for example "sig".
inline std::ostream& operator<<(std::ostream& out, JWKUse use) {
    return out << rawValue(use);
}

/// RSA2048Key for RSA and EC256Key for EC, whatever the size or curve of the key.
constexpr Zennet::KeyType getKeyType(JWKType type) noexcept {
    return type == JWKType::RSA ? Zennet::KeyType::RSA2048Key : Zennet::KeyType::EC256Key;
}

/// Member names of a JWK (RFC 7517, section 4; RFC 7518, section 6.3.1).
struct JWKParameters {
    JWKParameters() = delete;

    /// The purpose; see JWKUse.
    static constexpr std::string_view jwk_key_use = "use";
    /// The key family; see JWKType.
    static constexpr std::string_view jwk_key_kty = "kty";
    /// The key id.
    static constexpr std::string_view jwk_key_kid = "kid";
    /// The one algorithm that the key is meant for.
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
