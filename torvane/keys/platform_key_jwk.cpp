#include "torvane/keys/platform_key_jwk.hpp"

#include <string>

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {
namespace {

JOSE::RSAPublicKey parsed(ByteView jwk) {
    try {
        return JOSE::RSAPublicKey::initFrom(jwk);
    } catch (...) {
        throw JOSEError::cannotDecodeJWK(std::current_exception());
    }
}

}  // namespace

ByteBuffer PlatformKeyJWK::encodeToJWK(const SecKey& key, JWKUse jwkUse) {
    if (!key.isPublicKey()) {
        throw JOSEError::cannotEncodeJWK(nullptr,
                                         "Currently only public key can be encoded to JWK for security reasons.");
    }
    try {
        const JOSE::RSAPublicKey jwk(key, {{"use", std::string(rawValue(jwkUse))}});
        return JSONSerialization::data(toJSONObject(jwk.parameters()));
    } catch (...) {
        throw JOSEError::cannotEncodeJWK(std::current_exception());
    }
}

SecKey PlatformKeyJWK::decodeFrom(ByteView jwk) {
    return parsed(jwk).converted();
}

}  // namespace Torvane
