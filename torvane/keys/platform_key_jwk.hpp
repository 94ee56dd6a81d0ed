// RSA public keys of the platform as JWK text and back (RFC 7517; RFC 7518, section 6.3.1), for callers that have
// no use for a JsonWebKey with its id and its other key kinds.
//
//     Torvane::ByteBuffer jwk = Torvane::PlatformKeyJWK::encodeToJWK(secKey.publicKey(), Torvane::JWKUse::JWK_SIG);
//     Torvane::SecKey publicKey = Torvane::PlatformKeyJWK::decodeFrom(jwk);
#pragma once

#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// RSA public keys as JWK text and back; nothing is kept between calls.
struct TORVANE_EXPORT PlatformKeyJWK {
    PlatformKeyJWK() = delete;

    /// JSON text in UTF-8 with "kty", "n", "e" and "use"; there is no "kid".
    /// @throws JOSEError cannotEncodeJWK for a private key, with a text that says so, and around the reason for a
    ///         public key that is not RSA.
    static ByteBuffer encodeToJWK(const SecKey& key, JWKUse jwkUse);

    /// The public key of an RSA JWK, whatever private members its text holds besides.
    /// @throws JOSEError cannotDecodeJWK around the reason for a text that is no RSA JWK; SecurityError for
    ///         one whose numbers are no key.
    static SecKey decodeFrom(ByteView jwk);
};

}  // namespace Torvane
