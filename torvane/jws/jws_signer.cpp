#include "torvane/jws/jws_signer.hpp"

#include "torvane/jws/coder_making.hpp"

namespace Torvane {

void PendingJWS::writeTo(const JOSE::PieceSink& sink) {
    wasWritten_ = true;
    const auto digest = writer_.writeSigningInput(sink);
    ByteBuffer signature;
    try {
        signature = signer_.signDigest(digest);
    } catch (...) {
        throw JOSEError::JWSSignerError(std::current_exception());
    }
    JOSE::JWSWriter::writeSignature(signature, sink);
}

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

PendingJWS JWSSigner::pendingJWT(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<PendingJWS>(payload, headerParams);
}

ByteBuffer JWSSigner::sign(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<JOSE::JWS>(payload, headerParams).signature();
}

}  // namespace Torvane
