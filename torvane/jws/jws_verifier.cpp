#include "torvane/jws/jws_verifier.hpp"

#include "torvane/jws/internal/coder_making.hpp"

namespace Torvane {
namespace {

JOSE::ReceivedJWS receivedJWS(ByteView jwsData) {
    try {
        return JOSE::ReceivedJWS(jwsData);
    } catch (...) {
        throw JOSEError::JWSVerificationError(std::current_exception());
    }
}

}  // namespace

ByteBuffer JWSVerifier::verifyJWS(ByteView jwsData) const {
    return verifyJWS(receivedJWS(jwsData));
}

ByteBuffer JWSVerifier::verifyJWS(JOSE::ReceivedJWS&& jws) const {
    try {
        const auto verifier = makeJwsCoder<JOSE::Verifier>(jwsAlgorithm_, jwk_.key(), "verifier");
        return std::move(jws).validate(verifier).data();
    } catch (...) {
        throw JOSEError::JWSVerificationError(std::current_exception());
    }
}

}  // namespace Torvane
