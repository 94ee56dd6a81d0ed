// TokenVerifier: from a signed token of a provider to claims that may be acted on (RFC 7519, section 7.2; RFC 8725).
//
//     const Torvane::TokenVerifier verifier(providerKeys, {"ES256", "PS256"},
//                                           Torvane::ClaimsPolicy()
//                                               .requireIssuer("https://id.example")
//                                               .requireAudience("https://api.example")
//                                               .requireType("at+jwt"));
//     const Torvane::VerifiedToken token = verifier.verify(jws);
//     std::cout << token.claims.getSubject() << '\n';
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "torvane/jwt/claims_policy.hpp"
#include "torvane/jwt/jwt_claims.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/keys/key_set_source.hpp"
#include "torvane/messaging/token_error.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"

namespace Torvane {

/// A token whose signature verifies, and whose claims the policy accepts.
struct VerifiedToken {
    /// The bytes that were signed.
    ByteBuffer payload;
    /// The payload's claims.
    JWTClaims claims;
    /// The protected header.
    JSONValue::Object header;
    /// The key that verified the signature.
    JsonWebKey key;
};

/// Verifies compact JWSs with the keys of a set, and checks their claims.
///
/// A verifier keeps no state between calls. It may be used from several threads at once, as far as its policy and its
/// source of keys may.
class TORVANE_EXPORT TokenVerifier {
  public:
    /// The algorithms that are allowed, as enumerators or names. An empty list allows none.
    using Algorithms = std::vector<JOSE::AlgorithmOrName<JOSE::SignatureAlgorithm>>;

    /// A verifier with a set that stays as it is.
    /// @param keys public keys; private keys in it are not used.
    /// @param algorithms the only "alg" that are accepted, for example `{"ES256", "PS256"}`.
    /// @param policy what the claims must be.
    /// @throws JOSEError algorithmNotSupported for an unknown name.
    TokenVerifier(JsonWebKeySet keys, const Algorithms& algorithms, ClaimsPolicy policy);

    /// A verifier with a set that stays fresh. A "kid" that the set lacks makes the source fetch, as
    /// KeySetSource::keysFor() says.
    TokenVerifier(KeySetSource keys, const Algorithms& algorithms, ClaimsPolicy policy);

    /// @{
    /// A move is a copy, so a moved-from verifier still works.
    TokenVerifier(const TokenVerifier&) = default;
    TokenVerifier& operator=(const TokenVerifier&) = default;
    /// @}

    /// Limits on what is read: tokenBytes, headerBytes, jsonDepth and jsonMembers of header and claims each, and
    /// keysTried. Limits() unless set.
    TokenVerifier& setLimits(const Limits& limits) TORVANE_LIFETIMEBOUND;

    /// Accepts the key in the header's "jwk" if this is its SHA-256 thumbprint (RFC 7638); to be called once for each
    /// such key. Such a token is verified with that key alone, unless the "jwk" has private members. Without such a
    /// call, and for any other "jwk", "jku", "x5c" or "x5u", what the header says of keys is ignored.
    TokenVerifier& pinHeaderKey(std::string thumbprint) TORVANE_LIFETIMEBOUND;

    /// @{
    /// Verifies the signature with the key that has the header's "kid", and checks the claims and "typ". A token
    /// without "kid" is tried with each key that fits. Where several keys fit, up to keysTried are tried, in order.
    ///
    /// A key fits if the algorithm can use it, and its JWK allows that: "use" is "sig" or missing, "alg" is the token's
    /// or missing, "key_ops" has "verify" or is missing.
    /// @param token ASCII text: three parts in canonical unpadded base64url, joined by dots.
    /// @throws TokenError, in this order: malformed; algorithmNotAllowed; keyNotFound; wrongSignature. Then ClaimsError
    ///         when the policy does not accept the claims. Whatever the clock, the replay check or the source of keys
    ///         throws. std::bad_alloc when memory runs out.
    [[nodiscard]] VerifiedToken verify(ByteView token) const;
    [[nodiscard]] VerifiedToken verify(const TextLike auto& token) const { return verify(asBytes(token)); }
    /// @}

  private:
    [[nodiscard]] TORVANE_NO_EXPORT std::vector<JsonWebKey> chooseKeysFor(const JSONValue::Object& header,
                                                                          JOSE::SignatureAlgorithm algorithm) const;

    std::variant<std::shared_ptr<const JsonWebKeySet>, KeySetSource> keys_;
    std::vector<JOSE::SignatureAlgorithm> algorithms_;
    ClaimsPolicy policy_;
    std::vector<std::string> pinned_;
    Limits limits_;
};

}  // namespace Torvane
