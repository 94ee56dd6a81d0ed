// NestedToken: signs then encrypts, and decrypts then verifies, with key pairs of every kind (RFC 7519, section 5.2).
//
//     const Torvane::NestedToken nested(ours, theirs, Torvane::Profiles::fapi2MessageSigning());
//     const std::string token = nested.encodeToString("Hello");
//     const Torvane::DecodedMessage answer = nested.decode(theirToken);
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "torvane/jwt/claims_policy.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/keys/key_set_source.hpp"
#include "torvane/messaging/decoded_message.hpp"
#include "torvane/messaging/token_error.hpp"
#include "torvane/messaging/token_profiles.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/header_parameters.hpp"

namespace Torvane {

class MessageRules;

/// Makes and reads nested tokens with the keys of two parties. RSA, EC and secp256k1 keys can be mixed; JOSEHelper is
/// for RSA keys only.
///
/// A key is used if it fits an algorithm of the profile, and its JWK allows that: "use" is the right one or missing,
/// "alg" is the algorithm or missing, and "key_ops" has the operation or is missing ("sign" and "verify"; for RSA-OAEP
/// "wrapKey" or "encrypt" and "unwrapKey" or "decrypt"; for ECDH-ES "deriveKey" or "deriveBits"). The setters return
/// the object itself, so that calls chain. encode() and decode() keep no state, and may be called from several threads
/// at once, as far as the policy and the source of keys may.
class TORVANE_EXPORT NestedToken {
  public:
    /// @param ours our private keys.
    /// @param theirs the peer's public keys.
    /// @param profile the only algorithms that are used and accepted.
    NestedToken(JsonWebKeySet ours, JsonWebKeySet theirs, NestedTokenProfile profile);

    /// With a set of the peer that stays fresh. A "kid" that the set lacks makes the source fetch, as
    /// KeySetSource::keysFor() says: that of a JWS, and that of setEncryptionKeyId().
    NestedToken(JsonWebKeySet ours, KeySetSource theirs, NestedTokenProfile profile);

    /// @{
    /// A move is a copy, so a moved-from object still works.
    NestedToken(const NestedToken&) = default;
    NestedToken& operator=(const NestedToken&) = default;
    /// @}

    /// The id of our key that signs. Unless set, exactly one of our keys must fit the algorithm.
    NestedToken& setSigningKeyId(std::string keyId) TORVANE_LIFETIMEBOUND;
    /// The id of the peer's key to encrypt to. Unless set, exactly one of the peer's keys must fit the algorithm.
    NestedToken& setEncryptionKeyId(std::string keyId) TORVANE_LIFETIMEBOUND;
    /// Extra protected header parameters of the JWS; each call replaces all of them.
    NestedToken& setJwsHeaders(JOSE::HeaderParameters headers) TORVANE_LIFETIMEBOUND;
    /// Extra protected header parameters of the JWE; each call replaces all of them.
    NestedToken& setJweHeaders(JOSE::HeaderParameters headers) TORVANE_LIFETIMEBOUND;
    /// What decode() accepts at most, as JOSEHelper::Builder::setLimits() says.
    NestedToken& setLimits(const Limits& limits) TORVANE_LIFETIMEBOUND;
    /// As JOSEHelper::Builder::setClaimsPolicy().
    NestedToken& setClaimsPolicy(ClaimsPolicy policy) TORVANE_LIFETIMEBOUND;
    /// As JOSEHelper::Builder::bindRecipient().
    NestedToken& bindRecipient(std::vector<std::string> ourNames = {}) TORVANE_LIFETIMEBOUND;

    /// @{
    /// Signs a message with our key, encrypts the JWS to the peer's key, and returns the compact JWE. The JWS header
    /// has the extra parameters, "alg", and "kid" with our key's id. The JWE header has the extra parameters, "alg",
    /// "enc", "cty" with "JWT", and the "kid" of the peer's JWK if there is one.
    /// @param message any bytes, or text, whose bytes are signed unchanged; of any length, possibly empty.
    /// @throws TokenError keyNotFound when there is not exactly one key to sign with, or to encrypt to, and
    ///         algorithmNotAllowed when the profile has no "enc"; JOSEError JWSSignerError as JWSSigner::signJWT();
    ///         JOSE::JOSESwiftError parsingFailed for rejected extra parameters of the JWE; JOSEError JWEEncrypterError
    ///         as JWEEncrypter::encryptJWT(). Whatever the source of keys throws. std::bad_alloc when memory runs out.
    [[nodiscard]] ByteBuffer encode(ByteView message) const;
    [[nodiscard]] ByteBuffer encode(const TextLike auto& message) const { return encode(asBytes(message)); }
    [[nodiscard]] std::string encodeToString(ByteView message) const;
    [[nodiscard]] std::string encodeToString(const TextLike auto& message) const {
        return encodeToString(asBytes(message));
    }
    /// @}

    /// @{
    /// Decrypts a token with our key that has the "kid" of the JWE header, and verifies the JWS inside with the peer's
    /// key that has the "kid" of the JWS header. Without "kid" in the first, exactly one of our keys must fit; without
    /// "kid" in the second, the peer's keys that fit are tried in order, up to keysTried.
    /// @param token the compact JWE: ASCII text in five parts of canonical unpadded base64url.
    /// @throws TokenError malformed, algorithmNotAllowed, keyNotFound or decryptionFailed for the JWE; the first three
    ///         or wrongSignature for the JWS, and whatever the source of keys throws. Then ClaimsError, and what else
    ///         the policy throws. std::bad_alloc when memory runs out. After any error what was decrypted is wiped, and
    ///         nothing of it is released.
    [[nodiscard]] DecodedMessage decode(ByteView token) const;
    [[nodiscard]] DecodedMessage decode(const TextLike auto& token) const { return decode(asBytes(token)); }
    /// @}

  private:
    JsonWebKeySet ours_;
    std::variant<std::shared_ptr<const JsonWebKeySet>, KeySetSource> theirs_;
    NestedTokenProfile profile_;
    std::optional<std::string> signingKeyId_, encryptionKeyId_;
    JOSE::HeaderParameters jwsHeaders_, jweHeaders_;
    Limits limits_;
    std::shared_ptr<const MessageRules> rules_;
};

}  // namespace Torvane
