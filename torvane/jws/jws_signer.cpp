#include "torvane/jws/jws_signer.hpp"

#include "torvane/jws/coder_making.hpp"

namespace Torvane {

template <class Signed>
Signed JWSSigner::made(ByteView payload, const std::optional<StringMap>& headerParams) const {
    try {
        const JOSE::JWSHeader header(jwsAlgorithm_, headerParams, jwk_.keyId());
        return {header, payload, makeJwsCoder<JOSE::Signer>(jwsAlgorithm_, jwk_.key(), "signer")};
    } catch (...) {
        throw JOSEError::JWSSignerError(std::current_exception());
    }
}

ByteBuffer JWSSigner::signJWT(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<JOSE::JWS>(payload, headerParams).compactSerializedData();
}

JOSE::SignedPayload JWSSigner::signPayload(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<JOSE::SignedPayload>(payload, headerParams);
}

ByteBuffer JWSSigner::sign(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return signPayload(payload, headerParams).signature();
}

}  // namespace Torvane
