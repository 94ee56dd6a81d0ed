// Operations shared by JWSSigner, JWSVerifier and nested messages: making a JOSE::Signer or JOSE::Verifier from a key,
// and using it.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "torvane/jws/jws_signer.hpp"
#include "torvane/jws/jws_verifier.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {

/// The algorithm that the argument names.
/// @throws JOSEError algorithmNotSupported for an unknown name, and for ES256K in a build without secp256k1.
JOSE::SignatureAlgorithm resolveAlgorithm(const JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm>& algorithm);

/// A JOSE::Signer or JOSE::Verifier with the key's raw bytes for ES256K, with its platform key for every other
/// algorithm.
/// @throws JOSEError missingKey or invalidKeyFormat.
template <class SignerOrVerifier>
SignerOrVerifier makeSignerOrVerifier(JOSE::SignatureAlgorithm algorithm, const Zennet::Key& key) {
    const auto create = [&](const auto& material) {
        if (!material) throw JOSEError::missingKey("Missing required information in the JWK");
        return SignerOrVerifier::create(algorithm, *material);
    };
    auto created = algorithm == JOSE::SignatureAlgorithm::ES256K ? create(key.keyData()) : create(key.keyRef());
    if (!created) {
        const std::string role = std::is_same_v<SignerOrVerifier, JOSE::Signer> ? "signer" : "verifier";
        // Applications know this text, which names RS256 for every algorithm.
        throw JOSEError::invalidKeyFormat("An error occurred while initializing " + role +
                                          " for JWS. Make sure the key you are using is following the "
                                          "requirements for the signing algorithm RS256.");
    }
    return *std::move(created);
}

/// A JOSE::JWS or JOSE::JWSWriter with the signer's header for these parameters.
/// @throws JOSEError JWSSignerError.
template <class Signed>
Signed makeWithHeader(const JWSSigner& signer, ByteView payload, const JOSE::HeaderParameters& headerParams) {
    return wrapErrors(JOSEError::JWSSignerError, [&] {
        const JOSE::JWSHeader header(signer.jwsAlgorithm(), headerParams, signer.jwk().keyId());
        return Signed(header, payload, makeSignerOrVerifier<JOSE::Signer>(signer.jwsAlgorithm(), signer.jwk().key()));
    });
}

/// Verifies a JWS that has been read. After a failure it keeps its payload, so another key can be tried.
/// @throws JOSEError JWSVerificationError.
ByteBuffer verifyReceivedJWS(const JWSVerifier& verifier, JOSE::ReceivedJWS& jws);

}  // namespace Torvane
