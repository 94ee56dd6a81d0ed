// Which half of a key an algorithm works with; the same for signing and for verifying.
#pragma once

#include <string>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {

/// A JOSE::Signer or JOSE::Verifier over the key's raw bytes for ES256K, over its platform key for all others.
/// @throws JOSEError missingKey or invalidKeyFormat; `role` is "signer" or "verifier".
template <class Coder>
Coder makeJwsCoder(JOSE::SignatureAlgorithm algorithm, const Zennet::Key& key, const std::string& role) {
    const auto made = [&](const auto& material) {
        if (!material) throw JOSEError::missingKey("Missing required information in the JWK");
        return Coder::create(algorithm, *material);
    };
    auto coder = algorithm == JOSE::SignatureAlgorithm::ES256K ? made(key.keyData()) : made(key.keyRef());
    if (!coder) {
        throw JOSEError::invalidKeyFormat("An error occurred while initializing " + role +
                                          " for JWS. Make sure the key you are using is following the "
                                          "requirements for the signing algorithm RS256.");
    }
    return *std::move(coder);
}

}  // namespace Torvane
