#include "torvane/jws/jws_signer.hpp"

#include "torvane/jws/internal/jws_operations.hpp"

namespace Torvane {

JWSSigner::JWSSigner(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, JsonWebKey jwk)
    : jwsAlgorithm_(resolveAlgorithm(jwsAlgorithm)), key_(std::move(jwk)) {}

JWSSigner::JWSSigner(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, const SecKey& key, std::string keyId)
    : jwsAlgorithm_(resolveAlgorithm(jwsAlgorithm)), key_(key, JWKUse::JWK_SIG, std::move(keyId)) {}

ByteBuffer JWSSigner::signJWT(ByteView payload, const JOSE::HeaderParameters& headerParams) const {
    return makeWithHeader<JOSE::JWS>(*this, payload, headerParams).compactSerializedData();
}

std::string JWSSigner::signJWTToString(ByteView payload, const JOSE::HeaderParameters& headerParams) const {
    // Wiped, since it contains the payload, only base64url-encoded.
    const JOSE::Payload token(signJWT(payload, headerParams));
    return std::string(asText(token.data()));
}

ByteBuffer JWSSigner::sign(ByteView payload, const JOSE::HeaderParameters& headerParams) const {
    return makeWithHeader<JOSE::JWS>(*this, payload, headerParams).signature();
}

}  // namespace Torvane
