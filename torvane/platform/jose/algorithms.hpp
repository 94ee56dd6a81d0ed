// The algorithms of RFC 7518 and RFC 8812 that the library knows: one line each says all there is to know of one.
//
// Left out on purpose, and unknown names therefore: "none", the shared-secret algorithms (keys here are key
// pairs), and RSA1_5 (its padding is an oracle).
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "torvane/platform/primitives.hpp"
#include "torvane/platform/raw_value.hpp"
#include "torvane/platform/security/sec_key.hpp"

namespace JOSE {

using Platform::fromRawValue;
using Platform::rawValue;

enum class SignatureAlgorithm { RS256, RS384, RS512, PS256, PS384, PS512, ES256, ES384, ES512, ES256K };

struct SignatureParameters {
    std::string_view name;
    Platform::SignatureScheme scheme;
    Platform::HashFunction hash;
    /// Of the ECDSA algorithms over platform keys. ES256K has none: it signs with raw secp256k1 keys.
    std::optional<Platform::EllipticCurve> curve;
};

enum class KeyManagementAlgorithm {
    RSA_OAEP,
    RSA_OAEP_256,
    RSA_OAEP_384,
    RSA_OAEP_512,
    ECDH_ES,
    ECDH_ES_A128KW,
    ECDH_ES_A192KW,
    ECDH_ES_A256KW
};

struct KeyManagementParameters {
    std::string_view name;
    /// Of RSA-OAEP; nothing for ECDH-ES.
    std::optional<Platform::HashFunction> oaepHash;
    /// Bytes of the AES key that wraps the content key; 0 where the agreed key is the content key.
    std::size_t wrappingKeySize;

    constexpr bool isKeyAgreement() const noexcept { return !oaepHash; }
    constexpr bool isDirect() const noexcept { return isKeyAgreement() && wrappingKeySize == 0; }
};

enum class ContentEncryptionAlgorithm { A128CBC_HS256, A192CBC_HS384, A256CBC_HS512, A128GCM, A192GCM, A256GCM };

struct ContentEncryptionParameters {
    std::string_view name;
    /// Of the MAC in AES-CBC with HMAC; nothing for AES-GCM.
    std::optional<Platform::HashFunction> macHash;
    /// All sizes in bytes.
    std::size_t keySize;
    std::size_t ivSize;
    std::size_t tagSize;
};

constexpr auto valueTable(SignatureAlgorithm) noexcept {
    using enum Platform::SignatureScheme;
    using enum Platform::HashFunction;
    using enum Platform::EllipticCurve;
    return std::array<SignatureParameters, 10>{{{"RS256", RSA_PKCS1, SHA256, {}},
                                                {"RS384", RSA_PKCS1, SHA384, {}},
                                                {"RS512", RSA_PKCS1, SHA512, {}},
                                                {"PS256", RSA_PSS, SHA256, {}},
                                                {"PS384", RSA_PSS, SHA384, {}},
                                                {"PS512", RSA_PSS, SHA512, {}},
                                                {"ES256", ECDSA, SHA256, P256},
                                                {"ES384", ECDSA, SHA384, P384},
                                                {"ES512", ECDSA, SHA512, P521},
                                                {"ES256K", ECDSA, SHA256, {}}}};
}

constexpr auto valueTable(KeyManagementAlgorithm) noexcept {
    using enum Platform::HashFunction;
    return std::array<KeyManagementParameters, 8>{{{"RSA-OAEP", SHA1, 0},
                                                   {"RSA-OAEP-256", SHA256, 0},
                                                   {"RSA-OAEP-384", SHA384, 0},
                                                   {"RSA-OAEP-512", SHA512, 0},
                                                   {"ECDH-ES", {}, 0},
                                                   {"ECDH-ES+A128KW", {}, 16},
                                                   {"ECDH-ES+A192KW", {}, 24},
                                                   {"ECDH-ES+A256KW", {}, 32}}};
}

constexpr auto valueTable(ContentEncryptionAlgorithm) noexcept {
    using enum Platform::HashFunction;
    return std::array<ContentEncryptionParameters, 6>{{{"A128CBC-HS256", SHA256, 32, 16, 16},
                                                       {"A192CBC-HS384", SHA384, 48, 16, 24},
                                                       {"A256CBC-HS512", SHA512, 64, 16, 32},
                                                       {"A128GCM", {}, 16, 12, 16},
                                                       {"A192GCM", {}, 24, 12, 16},
                                                       {"A256GCM", {}, 32, 12, 16}}};
}

/// What the algorithm's line in the table above says.
template <class Algorithm>
constexpr auto parameters(Algorithm algorithm) noexcept {
    return valueTable(algorithm)[static_cast<std::size_t>(algorithm)];
}

/// Whether a platform key, by its family, curve and size, is one for the algorithm: RSA of 2048 to 16384 bits
/// with an odd public exponent of at least 3 and at most 64 bits, or EC on the algorithm's curve. ES256K fits
/// no platform key.
TORVANE_EXPORT bool fits(SignatureAlgorithm algorithm, const Platform::SecKey& key) noexcept;
TORVANE_EXPORT bool fits(KeyManagementAlgorithm algorithm, const Platform::SecKey& key) noexcept;

}  // namespace JOSE
