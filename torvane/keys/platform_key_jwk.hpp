// PlatformKeyJWK: RSA public keys as JWK text and back (RFC 7517; RFC 7518, section 6.3.1), without the id and the
// other key kinds of a JsonWebKey.
//
//     const auto key = Torvane::SoftwareKeyStore::generateRSA();
//     const auto jwk = Torvane::PlatformKeyJWK::encodeToJWK(key.publicKey(), Torvane::JWKUse::JWK_SIG);
//     const Torvane::SecKey theirs = Torvane::PlatformKeyJWK::decodeFrom(jwk);
#pragma once

#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// Conversion of RSA public keys. The functions keep nothing between calls, and may be called from several threads at
/// once.
struct TORVANE_EXPORT PlatformKeyJWK {
    PlatformKeyJWK() = delete;

    /// Writes a public RSA key as JSON text in UTF-8, with "kty", "n", "e" and "use" and without "kid".
    /// @throws JOSEError cannotEncodeJWK: "Currently only public key can be encoded to JWK for security reasons." for a
    ///         private key, and wrapping the reason for an EC key.
    [[nodiscard]] static ByteBuffer encodeToJWK(const SecKey& key, JWKUse jwkUse);

    /// @{
    /// Reads the public key of an RSA JWK from its JSON text in UTF-8; private members are ignored. Applies the limits
    /// jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSEError cannotDecodeJWK wrapping the reason when the text is beyond the limits or not an RSA JWK;
    ///         SecurityError when "n" or "e" is even.
    [[nodiscard]] static SecKey decodeFrom(ByteView jwk, const Limits& limits = {});
    [[nodiscard]] static SecKey decodeFrom(const TextLike auto& jwk, const Limits& limits = {}) {
        return decodeFrom(asBytes(jwk), limits);
    }
    /// @}
};

}  // namespace Torvane
