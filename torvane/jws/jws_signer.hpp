// JWSSigner: signs bytes with one key (RFC 7515).
//
//     Torvane::JWSSigner signer(Torvane::JOSE::SignatureAlgorithm::RS256, key);
//     Torvane::ByteBuffer jws = signer.signJWT(payload, {{"typ", "JWT"}});
#pragma once

#include <optional>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/jws.hpp"

namespace Torvane {

/// A JWS that is signed while it is written. Made by JWSSigner.
class TORVANE_EXPORT PendingJWS final : public JOSE::Content {
  public:
    /// For JWSSigner; as JOSE::JWSWriter.
    PendingJWS(const JOSE::JWSHeader& header, ByteView payload, JOSE::Signer signer)
        : writer_(header, payload, signer), signer_(std::move(signer)) {}

    /// Characters of the compact serialisation.
    std::size_t size() const noexcept override { return writer_.compactSize(); }
    /// Writes the compact serialisation.
    /// @throws JOSEError JWSSignerError when the key store fails; whatever the sink throws.
    void writeTo(const JOSE::PieceSink& sink) override;
    /// Whether it was begun to be written.
    bool wasWritten() const noexcept { return wasWritten_; }

  private:
    JOSE::JWSWriter writer_;
    JOSE::Signer signer_;
    bool wasWritten_ = false;
};

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

    /// The same JWS, to be signed while JWEEncrypter encrypts it. The payload is not copied and has to stay where it is
    /// until then.
    /// @throws JOSEError as signJWT(), but for a key store that fails.
    PendingJWS pendingJWT(ByteView payload, const std::optional<StringMap>& headerParams = std::nullopt) const;

    /// The signature alone, of the same JWS: raw bytes, as long as RFC 7518, section 3, has them.
    ByteBuffer sign(ByteView payload, const std::optional<StringMap>& headerParams = std::nullopt) const;

  private:
    JOSE::SignatureAlgorithm jwsAlgorithm_;
    JsonWebKey jwk_;
};

}  // namespace Torvane
