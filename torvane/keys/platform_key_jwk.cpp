#include "torvane/keys/platform_key_jwk.hpp"

#include <string>

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {
namespace {

JOSE::RSAPublicKey parseJWK(ByteView jwk, const Limits& limits) {
    return wrapErrors(JOSEError::cannotDecodeJWK, [&] { return JOSE::RSAPublicKey::initFrom(jwk, limits); });
}

}  // namespace

ByteBuffer PlatformKeyJWK::encodeToJWK(const SecKey& key, JWKUse jwkUse) {
    if (!key.isPublicKey()) {
        throw JOSEError::cannotEncodeJWK(nullptr,
                                         "Currently only public key can be encoded to JWK for security reasons.");
    }
    return wrapErrors(JOSEError::cannotEncodeJWK, [&] {
        const JOSE::RSAPublicKey jwk(key, {{"use", std::string(rawValue(jwkUse))}});
        return JSONSerialization::data(toJSONObject(jwk.parameters()));
    });
}

SecKey PlatformKeyJWK::decodeFrom(ByteView jwk, const Limits& limits) {
    return parseJWK(jwk, limits).converted();
}

}  // namespace Torvane
