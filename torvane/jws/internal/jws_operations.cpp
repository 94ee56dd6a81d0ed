#include "torvane/jws/internal/jws_operations.hpp"

namespace Torvane {

JOSE::SignatureAlgorithm resolveAlgorithm(const JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm>& algorithm) {
    if (!algorithm.algorithm()) {
        throw JOSEError::algorithmNotSupported("Algorithm '" + std::string(algorithm.name()) +
                                               "' is not supported for signing/verifying data.");
    }
    return *algorithm.algorithm();
}

ByteBuffer verifyReceivedJWS(const JWSVerifier& verifier, JOSE::ReceivedJWS& jws) {
    return wrapErrors(JOSEError::JWSVerificationError, [&] {
        return jws.validate(makeSignerOrVerifier<JOSE::Verifier>(verifier.jwsAlgorithm(), verifier.jwk().key())).data();
    });
}

}  // namespace Torvane
