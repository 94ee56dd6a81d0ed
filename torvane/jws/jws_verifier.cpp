#include "torvane/jws/jws_verifier.hpp"

#include "torvane/jws/coder_making.hpp"
#include "torvane/platform/jose/jws.hpp"

namespace Torvane {

ByteBuffer JWSVerifier::verifyJWS(ByteView jwsData) const {
    try {
        JOSE::ReceivedJWS jws(jwsData);
        const auto verifier = makeJwsCoder<JOSE::Verifier>(jwsAlgorithm_, jwk_.key(), "verifier");
        return std::move(jws).validate(verifier).data();
    } catch (...) {
        throw JOSEError::JWSVerificationError(std::current_exception());
    }
}

}  // namespace Torvane
