#include "torvane/jws/jws_signer.hpp"

#include "torvane/jws/internal/coder_making.hpp"

namespace Torvane {
namespace {

template <class Signed>
Signed made(const JWSSigner& signer, ByteView payload, const std::optional<StringMap>& headerParams) {
    try {
        const JOSE::JWSHeader header(signer.jwsAlgorithm(), headerParams, signer.jwk().keyId());
        return {header, payload, makeJwsCoder<JOSE::Signer>(signer.jwsAlgorithm(), signer.jwk().key(), "signer")};
    } catch (...) {
        throw JOSEError::JWSSignerError(std::current_exception());
    }
}

}  // namespace

void PendingJWS::writeTo(const JOSE::PieceSink& sink) {
    wasWritten_ = true;
    bool hasSinkFailed = false;
    const auto guardedSink = [&](ByteView piece) {
        hasSinkFailed = true;
        sink(piece);
        hasSinkFailed = false;
    };
    ByteBuffer signature;
    try {
        signature = signer_.signDigest(writer_.writeSigningInput(guardedSink));
    } catch (...) {
        if (hasSinkFailed) throw;
        throw JOSEError::JWSSignerError(std::current_exception());
    }
    JOSE::JWSWriter::writeSignature(signature, sink);
}

ByteBuffer JWSSigner::signJWT(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<JOSE::JWS>(*this, payload, headerParams).compactSerializedData();
}

PendingJWS JWSSigner::pendingJWT(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<PendingJWS>(*this, payload, headerParams);
}

ByteBuffer JWSSigner::sign(ByteView payload, const std::optional<StringMap>& headerParams) const {
    return made<JOSE::JWS>(*this, payload, headerParams).signature();
}

}  // namespace Torvane
