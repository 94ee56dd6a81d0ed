// JWSSigner: signs bytes with one key (RFC 7515).
//
//     Torvane::JWSSigner signer(JOSE::SignatureAlgorithm::RS256, key);
//     Torvane::ByteBuffer jws = signer.signJWT(payload, {{"typ", "JWT"}});
#pragma once

#include <optional>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/support/vocabulary.hpp"

namespace Torvane {

/// One key and one algorithm. A value; nothing is kept between calls. That the key fits the algorithm shows when
/// signing.
class TORVANE_EXPORT JWSSigner {
  public:
    /// Nothing is checked before the first token.
    JWSSigner(JOSE::SignatureAlgorithm jwsAlgorithm, JsonWebKey jwk)
        : jwsAlgorithm_(jwsAlgorithm), jwk_(std::move(jwk)) {}

    /// The only "alg" of its tokens.
    JOSE::SignatureAlgorithm jwsAlgorithm() const noexcept { return jwsAlgorithm_; }
    /// The private key; its id becomes the "kid".
    const JsonWebKey& jwk() const noexcept { return jwk_; }
    /// Changes the key. Not while another thread uses the signer.
    void setJwk(JsonWebKey jwk) { jwk_ = std::move(jwk); }

    /// The JWS in compact serialisation. Its header is headerParams with "alg" and "kid" set to the algorithm
    /// and the key's id.
    /// @throws JOSEError JWSSignerError, around missingKey for a key without what the algorithm needs (raw bytes for
    ///         ES256K, a platform key for all others), invalidKeyFormat for one that does not fit it, or the
    ///         reason why the header was refused or the key store failed.
    ByteBuffer signJWT(ByteView payload, const std::optional<StringMap>& headerParams = std::nullopt) const;

    /// The same JWS for JWEEncrypter, which writes it while it encrypts it. The payload is not copied and has to stay
    /// where it is until then.
    JOSE::SignedPayload signPayload(ByteView payload,
                                    const std::optional<StringMap>& headerParams = std::nullopt) const;

    /// The signature alone, of the same JWS: raw bytes, as long as RFC 7518, section 3, has them.
    ByteBuffer sign(ByteView payload, const std::optional<StringMap>& headerParams = std::nullopt) const;

  private:
    template <class Signed>
    Signed made(ByteView payload, const std::optional<StringMap>& headerParams) const;

    JOSE::SignatureAlgorithm jwsAlgorithm_;
    JsonWebKey jwk_;
};

}  // namespace Torvane
