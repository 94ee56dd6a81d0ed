// JWSSigner: signs bytes with one key (RFC 7515).
//
//     Torvane::JWSSigner signer("RS256", key);
//     std::string jws = signer.signJWTToString("{\"sub\":\"alice\"}", {{"typ", "JWT"}});
#pragma once

#include <string>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/header_parameters.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One algorithm and one private key; the algorithm's name and the key's id become the "alg" and "kid" of each token.
///
/// A signer keeps no state between calls, so a failed call leaves it unchanged. One signer may be used from several
/// threads at once, as long as none of them calls setJwk() or assigns to it. Whether the key fits the algorithm is
/// checked on signing.
class TORVANE_EXPORT JWSSigner {
  public:
    /// A signer with a JSON Web Key.
    /// @param jwsAlgorithm an enumerator, or a name such as "RS256".
    /// @param jwk the private key: raw bytes for ES256K, a platform key for every other algorithm. Its id, which may be
    ///        empty, becomes the "kid".
    /// @throws JOSEError algorithmNotSupported for an unknown name. Never throws for an enumerator.
    JWSSigner(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, JsonWebKey jwk);

    /// A signer with a platform key.
    /// @param jwsAlgorithm an enumerator, or a name such as "ES256"; ES256K does not sign with platform keys.
    /// @param key the private key.
    /// @param keyId the "kid", which may be empty.
    /// @throws JOSEError algorithmNotSupported for an unknown name.
    JWSSigner(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, const SecKey& key, std::string keyId);

    /// @{
    /// A move is a copy, so a moved-from signer still works.
    JWSSigner(const JWSSigner&) = default;
    JWSSigner& operator=(const JWSSigner&) = default;
    /// @}

    /// The "alg" of the tokens.
    [[nodiscard]] JOSE::SignatureAlgorithm jwsAlgorithm() const noexcept { return jwsAlgorithm_; }
    /// The private key.
    [[nodiscard]] const JsonWebKey& jwk() const noexcept { return key_; }
    /// Replaces the key. Not to be called while another thread uses the signer.
    void setJwk(JsonWebKey jwk) { key_ = std::move(jwk); }

    /// @{
    /// Signs a payload and returns the JWS in compact serialisation (RFC 7515, section 7.1).
    ///
    /// @param payload any bytes, or text, whose bytes are signed unchanged; of any length, possibly empty.
    /// @param headerParams extra members of the protected header, with texts in UTF-8 or any other JSON values. "alg"
    ///        and "kid" are overwritten by the algorithm's name and the key's id.
    /// @returns ASCII text: header, payload and signature in base64url, joined by dots; the payload grows by a third.
    ///          The text is allocated once, at its exact size.
    /// @throws JOSEError JWSSignerError wrapping the reason: JOSE::JOSESwiftError parsingFailed for a rejected header
    ///         ("crit", "zip", "b64" other than true, a value that is not JSON or not UTF-8, a "jwk" with a private
    ///         member); JOSEError missingKey for a key without the material that the algorithm needs; JOSEError
    ///         invalidKeyFormat for a key that does not fit the algorithm, a public key included; SecurityError, or
    ///         whatever an application's key store throws, when the key store fails. std::bad_alloc, not wrapped, when
    ///         memory runs out. The part of the token that was already written is wiped.
    [[nodiscard]] ByteBuffer signJWT(ByteView payload, const JOSE::HeaderParameters& headerParams = {}) const;
    [[nodiscard]] ByteBuffer signJWT(const TextLike auto& payload,
                                     const JOSE::HeaderParameters& headerParams = {}) const {
        return signJWT(asBytes(payload), headerParams);
    }
    /// @}

    /// @{
    /// signJWT(), with the token as a string. Needs memory for two tokens while it runs.
    [[nodiscard]] std::string signJWTToString(ByteView payload, const JOSE::HeaderParameters& headerParams = {}) const;
    [[nodiscard]] std::string signJWTToString(const TextLike auto& payload,
                                              const JOSE::HeaderParameters& headerParams = {}) const {
        return signJWTToString(asBytes(payload), headerParams);
    }
    /// @}

    /// @{
    /// Signs as signJWT() does, and returns the raw signature alone: as long as the modulus for an RSA key, r and s
    /// concatenated for an EC key: 64, 96 or 132 bytes (RFC 7518, sections 3.3 to 3.5; RFC 8812, section 3.2).
    /// @throws JOSEError as signJWT().
    [[nodiscard]] ByteBuffer sign(ByteView payload, const JOSE::HeaderParameters& headerParams = {}) const;
    [[nodiscard]] ByteBuffer sign(const TextLike auto& payload, const JOSE::HeaderParameters& headerParams = {}) const {
        return sign(asBytes(payload), headerParams);
    }
    /// @}

  private:
    JOSE::SignatureAlgorithm jwsAlgorithm_;
    JsonWebKey key_;
};

}  // namespace Torvane
