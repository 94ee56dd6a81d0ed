#include "torvane/jws/internal/jws_operations.hpp"

#include "torvane/platform/key_library/internal/secp256k1_key.hpp"

namespace Torvane {

JOSE::SignatureAlgorithm resolveAlgorithm(const JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm>& algorithm) {
    const bool isAbsent = algorithm.algorithm() == JOSE::SignatureAlgorithm::ES256K && !Zennet::isSecp256k1Supported();
    if (!algorithm.algorithm() || isAbsent) {
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
