// JWSVerifier: checks the signature of a compact JWS with one key (RFC 7515).
#pragma once

#include <string_view>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/jws.hpp"

namespace Torvane {

/// One key and one algorithm, which the receiver has chosen. A value; nothing is kept between calls.
class TORVANE_EXPORT JWSVerifier {
  public:
    /// Nothing is checked before the first token.
    JWSVerifier(JOSE::SignatureAlgorithm jwsAlgorithm, JsonWebKey jwk)
        : jwsAlgorithm_(jwsAlgorithm), jwk_(std::move(jwk)) {}

    /// The only "alg" of its tokens.
    JOSE::SignatureAlgorithm jwsAlgorithm() const noexcept { return jwsAlgorithm_; }
    /// The public key; its id is not compared with a "kid".
    const JsonWebKey& jwk() const noexcept { return jwk_; }
    /// Changes the key. Not while another thread uses the verifier.
    void setJwk(JsonWebKey jwk) { jwk_ = std::move(jwk); }

    /// @{
    /// The payload, exactly as it was signed. A JWS whose header names another algorithm than jwsAlgorithm()
    /// is refused, and so is one with a "crit", a "zip" or an unencoded payload; no other header member is looked at.
    /// A JWS that has been read already keeps its payload when it does not verify, to be tried with another key.
    /// @throws JOSEError JWSVerificationError, around JOSE::JOSESwiftError for a JWS that is malformed or does not
    ///         verify, around missingKey for a key without what the algorithm needs, or around
    ///         invalidKeyFormat for one that does not fit it.
    ByteBuffer verifyJWS(ByteView jwsData) const;
    ByteBuffer verifyJWS(std::string_view jwsString) const { return verifyJWS(asBytes(jwsString)); }
    ByteBuffer verifyJWS(JOSE::ReceivedJWS&& jws) const;
    /// @}

  private:
    JOSE::SignatureAlgorithm jwsAlgorithm_;
    JsonWebKey jwk_;
};

}  // namespace Torvane
