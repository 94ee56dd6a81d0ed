#include "torvane/jws/jws_verifier.hpp"

#include "torvane/jws/internal/jws_operations.hpp"

namespace Torvane {

JWSVerifier::JWSVerifier(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, JsonWebKey jwk)
    : jwsAlgorithm_(resolveAlgorithm(jwsAlgorithm)), key_(std::move(jwk)) {}

JWSVerifier::JWSVerifier(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, const SecKey& key)
    : jwsAlgorithm_(resolveAlgorithm(jwsAlgorithm)), key_(key, JWKUse::JWK_SIG, {}) {}

ByteBuffer JWSVerifier::verifyJWS(ByteView jwsData, const Limits& limits) const {
    auto jws = wrapErrors(JOSEError::JWSVerificationError, [&] { return JOSE::ReceivedJWS(jwsData, limits); });
    return verifyReceivedJWS(*this, jws);
}

}  // namespace Torvane
