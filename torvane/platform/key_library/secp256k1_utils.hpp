// secp256k1 keys: telling them, making them, and writing them as JWKs.
#pragma once

#include <optional>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane::Zennet {

/// Keys for ES256K; nothing here is kept between calls.
struct TORVANE_EXPORT Secp256k1Utils {
    Secp256k1Utils() = delete;

    /// The "crv" of their JWKs (RFC 8812, section 3.1).
    static constexpr std::string_view SECP256K1CURVE = "secp256k1";

    /// Whether the key's type names the curve secp256k1.
    static bool isSecp256k1Key(const Key& key) noexcept;

    /// The JWK as JSON text: "kty", "crv", "x", "y", "kid", "alg": "ES256K", and "d" with a private key (RFC
    /// 8812, section 3.1). With a private key the text is a secret of the caller's. Nothing when a key has no
    /// raw bytes, when they are no key of the curve, when the two keys are no pair, or when the key id is not UTF-8.
    static std::optional<ByteBuffer> encodeToJwk(const Key& publicKey, const std::optional<Key>& privateKey,
                                                 std::string_view keyId);

    /// Both halves of one key.
    struct KeyPair {
        /// 32 raw bytes.
        PrivateKey privateKey;
        /// 65 raw bytes: 4, x and y.
        PublicKey publicKey;
    };

    /// A new key pair; the public key is a point of 65 bytes.
    static KeyPair generateKeyPair();
};

}  // namespace Torvane::Zennet
