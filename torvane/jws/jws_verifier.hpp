// JWSVerifier: checks the signature of a compact JWS with one key (RFC 7515).
//
//     Torvane::JWSVerifier verifier("RS256", senderKey);
//     Torvane::ByteBuffer payload = verifier.verifyJWS(jws);
#pragma once

#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One algorithm and one public key, both chosen by the recipient and not by the token.
///
/// A verifier keeps no state between calls, so a failed call leaves it unchanged. One verifier may be used from several
/// threads at once, as long as none of them calls setJwk() or assigns to it. Whether the key fits the algorithm is
/// checked on verifying.
class TORVANE_EXPORT JWSVerifier {
  public:
    /// A verifier with a JSON Web Key.
    /// @param jwsAlgorithm the only "alg" that is accepted: an enumerator, or a name such as "RS256".
    /// @param jwk the public key: raw bytes for ES256K, a platform key for every other algorithm. Its id is not
    ///        compared with the "kid".
    /// @throws JOSEError algorithmNotSupported for an unknown name. Never throws for an enumerator.
    JWSVerifier(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, JsonWebKey jwk);

    /// A verifier with a platform key. The id of jwk() is then empty.
    /// @param jwsAlgorithm the only "alg" that is accepted: an enumerator, or a name such as "ES256"; ES256K does not
    ///        verify with platform keys.
    /// @param key the public key.
    /// @throws JOSEError algorithmNotSupported for an unknown name.
    JWSVerifier(JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm> jwsAlgorithm, const SecKey& key);

    /// @{
    /// A move is a copy, so a moved-from verifier still works.
    JWSVerifier(const JWSVerifier&) = default;
    JWSVerifier& operator=(const JWSVerifier&) = default;
    /// @}

    /// The only "alg" that is accepted.
    [[nodiscard]] JOSE::SignatureAlgorithm jwsAlgorithm() const noexcept { return jwsAlgorithm_; }
    /// The public key.
    [[nodiscard]] const JsonWebKey& jwk() const noexcept { return key_; }
    /// Replaces the key. Not to be called while another thread uses the verifier.
    void setJwk(JsonWebKey jwk) { key_ = std::move(jwk); }

    /// Verifies a JWS in compact serialisation (RFC 7515, section 5.2) and returns its payload.
    ///
    /// The token is ASCII text of any length: three parts in canonical unpadded base64url, joined by dots. The payload
    /// may be empty. The header is checked as JOSE::JWSHeader says; its "kid" is not compared. Applies the limits
    /// tokenBytes, headerBytes, jsonDepth and jsonMembers.
    /// @returns the payload exactly as it was signed.
    /// @throws JOSEError JWSVerificationError wrapping the reason: JOSE::JOSESwiftError parsingFailed for a malformed
    ///         token, one beyond the limits or a rejected header, unsupportedAlgorithm for an "alg" other than
    ///         jwsAlgorithm(), verifyingFailed for a signature that does not verify; JOSEError missingKey for a key
    ///         without the material that the algorithm needs; JOSEError invalidKeyFormat for a key that does not fit
    ///         the algorithm, a private key included. std::bad_alloc, not wrapped, when memory runs out. The part of
    ///         the payload that was already decoded is wiped.
    [[nodiscard]] ByteBuffer verifyJWS(ByteView jwsData, const Limits& limits = {}) const;
    /// The same for a token as text.
    [[nodiscard]] ByteBuffer verifyJWS(const TextLike auto& jwsString, const Limits& limits = {}) const {
        return verifyJWS(asBytes(jwsString), limits);
    }

  private:
    JOSE::SignatureAlgorithm jwsAlgorithm_;
    JsonWebKey key_;
};

}  // namespace Torvane
