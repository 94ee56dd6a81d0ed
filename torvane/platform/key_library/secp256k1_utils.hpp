// secp256k1 keys: recognising them, making them, and writing them as JWKs (RFC 8812).
//
//     const auto pair = Torvane::Zennet::Secp256k1Utils::generateKeyPair();
//     const Torvane::JsonWebKey ours(pair.privateKey, Torvane::JWKUse::JWK_SIG, "2026", pair.publicKey);
#pragma once

#include <optional>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane::Zennet {

/// Functions for ES256K keys. They keep nothing between calls, and may be called from several threads at once.
struct TORVANE_EXPORT Secp256k1Utils {
    Secp256k1Utils() = delete;

    /// The "crv" of the JWK of a secp256k1 key (RFC 8812, section 3.1).
    static constexpr std::string_view SECP256K1CURVE = "secp256k1";

    /// Whether the key's type has the curve secp256k1.
    [[nodiscard]] static bool isSecp256k1Key(const Key& key) noexcept;

    /// The JWK as JSON text: "kty", "crv", "x", "y", "kid", "alg" with the value "ES256K"; and "d" (RFC 8812, section
    /// 3.1) if a private key is given, which makes the text a secret. Nothing when a key is not raw bytes, the bytes
    /// are not a key of the curve, the two keys are not a pair, or the key id is not UTF-8.
    [[nodiscard]] static std::optional<ByteBuffer> encodeToJwk(const Key& publicKey,
                                                               const std::optional<Key>& privateKey,
                                                               std::string_view keyId);

    /// Both keys of one pair.
    struct KeyPair {
        /// The scalar, 32 bytes.
        PrivateKey privateKey;
        /// The point in uncompressed form, 65 bytes: 4, x and y.
        PublicKey publicKey;
    };

    /// Makes a key pair in memory.
    /// @throws KeyStoreError notSupported in a build without secp256k1.
    [[nodiscard]] static KeyPair generateKeyPair();
};

}  // namespace Torvane::Zennet
