// The algorithms that the library knows, from RFC 7518 and RFC 8812, and RSA-OAEP-384 and RSA-OAEP-512 from the IANA
// registry "JSON Web Signature and Encryption Algorithms". One table row per algorithm.
//
// Left out on purpose, so that their names are unknown: "none", the symmetric algorithms such as HS256, A128KW and
// "dir" (keys are key pairs here), and RSA1_5 (open to padding-oracle attacks).
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/raw_value.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

/// The JOSE primitives: JWK, JWS and JWE as the RFCs define them, without the choice of keys and the error wrapping of
/// the classes in Torvane.
namespace Torvane::JOSE {

using Torvane::fromRawValue;
using Torvane::rawValue;

/// The "alg" of a JWS. rawValue(algorithm) returns its name, fromRawValue<SignatureAlgorithm>(name) the algorithm.
enum class SignatureAlgorithm {
    RS256,   ///< RSASSA-PKCS1-v1_5 with SHA-256 (RFC 7518, section 3.3).
    RS384,   ///< RSASSA-PKCS1-v1_5 with SHA-384.
    RS512,   ///< RSASSA-PKCS1-v1_5 with SHA-512.
    PS256,   ///< RSASSA-PSS with SHA-256 (RFC 7518, section 3.5).
    PS384,   ///< RSASSA-PSS with SHA-384.
    PS512,   ///< RSASSA-PSS with SHA-512.
    ES256,   ///< ECDSA on P-256 with SHA-256 (RFC 7518, section 3.4).
    ES384,   ///< ECDSA on P-384 with SHA-384.
    ES512,   ///< ECDSA on P-521 with SHA-512.
    ES256K,  ///< ECDSA on secp256k1 with SHA-256 (RFC 8812, section 3.2).
};

/// One row of the table of signature algorithms.
struct SignatureParameters {
    /// The "alg" in the header, case-sensitive.
    std::string_view name;
    /// The scheme that the key store signs with.
    SignatureScheme scheme;
    /// Hashes the signing input; also the hash of MGF1 in RSASSA-PSS.
    HashFunction hash;
    /// The curve of an ECDSA algorithm over platform keys; nothing for ES256K, which signs with raw secp256k1 keys.
    std::optional<EllipticCurve> curve;
};

/// The "alg" of a JWE: how the content encryption key reaches the recipient. Converted to and from its
/// name as SignatureAlgorithm is.
enum class KeyManagementAlgorithm {
    RSA_OAEP,        ///< RSAES-OAEP with SHA-1 (RFC 7518, section 4.3), for peers that support no other hash.
    RSA_OAEP_256,    ///< RSAES-OAEP with SHA-256.
    RSA_OAEP_384,    ///< RSAES-OAEP with SHA-384.
    RSA_OAEP_512,    ///< RSAES-OAEP with SHA-512.
    ECDH_ES,         ///< The agreed key is the content encryption key (RFC 7518, section 4.6).
    ECDH_ES_A128KW,  ///< The agreed key wraps the content encryption key with AES-128 (RFC 7518, sections 4.6, 4.4).
    ECDH_ES_A192KW,  ///< The same with AES-192.
    ECDH_ES_A256KW,  ///< The same with AES-256.
};

/// One row of the table of key management algorithms.
struct KeyManagementParameters {
    /// The "alg" in the header, case-sensitive.
    std::string_view name;
    /// The hash of RSA-OAEP; nothing for ECDH-ES.
    std::optional<HashFunction> oaepHash;
    /// Bytes of the AES key that wraps the content encryption key; 0 where nothing is wrapped.
    std::size_t wrappingKeySize;

    /// True for every form of ECDH-ES, false for RSA-OAEP.
    [[nodiscard]] constexpr bool isKeyAgreement() const noexcept { return !oaepHash; }
    /// True where the agreed key is the content encryption key, so that the JWE has no encrypted key.
    [[nodiscard]] constexpr bool isDirect() const noexcept { return isKeyAgreement() && wrappingKeySize == 0; }
};

/// The "enc" of a JWE: how the plaintext is encrypted. Converted to and from its name as
/// SignatureAlgorithm is.
enum class ContentEncryptionAlgorithm {
    A128CBC_HS256,  ///< AES-128-CBC with HMAC-SHA-256 (RFC 7518, section 5.2).
    A192CBC_HS384,  ///< AES-192-CBC with HMAC-SHA-384.
    A256CBC_HS512,  ///< AES-256-CBC with HMAC-SHA-512.
    A128GCM,        ///< AES-128-GCM (RFC 7518, section 5.3).
    A192GCM,        ///< AES-192-GCM.
    A256GCM,        ///< AES-256-GCM.
};

/// One row of the table of content encryption algorithms; all sizes in bytes.
struct ContentEncryptionParameters {
    /// The "enc" in the header, case-sensitive.
    std::string_view name;
    /// The hash of the HMAC; nothing for AES-GCM.
    std::optional<HashFunction> macHash;
    /// Size of the content encryption key; with AES-CBC and HMAC it holds the keys of both.
    std::size_t keySize;
    /// Size of the initialization vector, which is random and fresh for each JWE.
    std::size_t ivSize;
    /// Size of the authentication tag; with HMAC half of the hash's output.
    std::size_t tagSize;
};

/// @{
/// One row per algorithm, in the order of the enumerators: for parameters(), rawValue() and fromRawValue().
constexpr auto valueTable(SignatureAlgorithm) noexcept {
    using enum SignatureScheme;
    using enum HashFunction;
    using enum EllipticCurve;
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
    using enum HashFunction;
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
    using enum HashFunction;
    return std::array<ContentEncryptionParameters, 6>{{{"A128CBC-HS256", SHA256, 32, 16, 16},
                                                       {"A192CBC-HS384", SHA384, 48, 16, 24},
                                                       {"A256CBC-HS512", SHA512, 64, 16, 32},
                                                       {"A128GCM", {}, 16, 12, 16},
                                                       {"A192GCM", {}, 24, 12, 16},
                                                       {"A256GCM", {}, 32, 12, 16}}};
}
/// @}

static_assert(rawValue(SignatureAlgorithm::ES256K) == "ES256K" &&
              rawValue(KeyManagementAlgorithm::ECDH_ES_A256KW) == "ECDH-ES+A256KW" &&
              rawValue(ContentEncryptionAlgorithm::A256GCM) == "A256GCM");

/// The algorithm's row of the table above.
template <class Algorithm>
constexpr auto parameters(Algorithm algorithm) noexcept {
    return valueTable(algorithm)[static_cast<std::size_t>(algorithm)];
}

/// An algorithm as an argument: its enumerator, or its name. An unknown name is accepted here, and reported by the
/// function that gets the argument.
template <class Algorithm>
class AlgorithmOrName {
  public:
    /// The algorithm itself.
    constexpr AlgorithmOrName(Algorithm algorithm) noexcept : name_(rawValue(algorithm)), algorithm_(algorithm) {}
    /// A name, case-sensitive; known or unknown. Keeps a view of the text, which has to outlive this object.
    template <std::convertible_to<std::string_view> Name>
    constexpr AlgorithmOrName(const Name& name) : name_(name), algorithm_(fromRawValue<Algorithm>(name_)) {}

    /// The name as it was given, or the enumerator's.
    [[nodiscard]] constexpr std::string_view name() const noexcept { return name_; }
    /// The algorithm; nothing for an unknown name.
    [[nodiscard]] constexpr const std::optional<Algorithm>& algorithm() const noexcept { return algorithm_; }

  private:
    std::string_view name_;
    std::optional<Algorithm> algorithm_;
};

/// @{
/// True when a platform key fits the algorithm by family, curve and size: an RSA modulus of 2048 to 16384 bits and an
/// odd public exponent of 3 or more in at most 64 bits; for ECDSA the algorithm's curve; for ECDH-ES any curve of
/// EllipticCurve. No platform key fits ES256K.
[[nodiscard]] TORVANE_EXPORT bool fits(SignatureAlgorithm algorithm, const SecKey& key) noexcept;
[[nodiscard]] TORVANE_EXPORT bool fits(KeyManagementAlgorithm algorithm, const SecKey& key) noexcept;
/// @}

}  // namespace Torvane::JOSE
