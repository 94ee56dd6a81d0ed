#include "torvane/jws/internal/jws_operations.hpp"

namespace Torvane {

JOSE::SignatureAlgorithm resolveAlgorithm(const JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm>& algorithm) {
    if (!algorithm.algorithm()) {
        throw JOSEError::algorithmNotSupported("Algorithm '" + std::string(algorithm.name()) +
                                               "' is not supported for signing/verifying data.");
    }
    return *algorithm.algorithm();
}

JsonWebKey makeJwk(const SecKey& key, std::string keyId) {
    const auto keyClass = key.isPublicKey() ? Zennet::KeyClass::publicKey : Zennet::KeyClass::privateKey;
    const auto keyType = key.curve() ? Zennet::KeyType::EC256Key : Zennet::KeyType::RSA2048Key;
    return {key, keyClass, keyType, JWKUse::JWK_SIG, std::move(keyId)};
}

ByteBuffer verifyReceivedJWS(const JWSVerifier& verifier, JOSE::ReceivedJWS&& jws) {
    return wrapErrors(JOSEError::JWSVerificationError, [&] {
        return std::move(jws)
            .validate(makeForKey<JOSE::Verifier>(verifier.jwsAlgorithm(), verifier.jwk().key()))
            .data();
    });
}

}  // namespace Torvane
