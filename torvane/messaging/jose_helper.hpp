// JOSEHelper: turns a message into a nested token for a peer, and a peer's nested token into the message. A nested
// token is a JWS inside a JWE (RFC 7519, section 5.2, here with any bytes as the payload).
//
//     auto helper = Torvane::JOSEHelper::Builder()
//                       .setSenderJwkSet(ourPrivateKeys, "our-signing-key")
//                       .setRecipientJwkSet(theirPublicKeys, "their-encryption-key")
//                       .create();
//     std::string token = helper.encodeMessageToString("Hello");
//     std::string answer = helper.decodeMessageToString(theirToken);
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "torvane/jwt/claims_policy.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/messaging/decoded_message.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/header_parameters.hpp"

namespace Torvane {

class MessageRules;

/// The keys of both parties and the algorithms, as its Builder collected them. Immutable, cheap to copy, and safe to
/// use from several threads at once, as far as the clock and the replay check of a policy may; a failed call changes
/// nothing.
class TORVANE_EXPORT JOSEHelper {
  public:
    class Builder;

    /// @{
    /// A move is a copy, so a moved-from helper still works.
    JOSEHelper(const JOSEHelper&) = default;
    JOSEHelper& operator=(const JOSEHelper&) = default;
    /// @}

    /// @{
    /// Signs a message with our private key, encrypts the JWS to the peer's public key, and returns the nested token
    /// (RFC 7519, section 5.2).
    ///
    /// The keys are RSA keys, of type RSA2048Key whatever their size: in our set (setSenderJwkSet()) the private key
    /// with the use JWK_SIG and the signing key id, in the peer's set (setRecipientJwkSet()) the public key with the
    /// use JWK_ENC and the encryption key id. Without an id, exactly one key of that use and class must be in the set.
    /// The JWS header has the extra parameters, "alg", and "kid" with the signing key's id; the JWE header has the
    /// extra parameters, "alg", "enc", "kid" with the encryption key id if there is one, and "cty" with "JWT".
    ///
    /// @param rawMessage any bytes, or text, whose bytes are signed unchanged; of any length, possibly empty.
    /// @returns the compact JWE: ASCII text in five parts, about 16/9 as long as the message. It is allocated once, at
    ///          its exact size.
    /// @throws JOSEError, except where another type is named, in this order; the errors after JWSSignerError are thrown
    ///         only when the message has been signed:
    ///         - missingKey: there is not exactly one signing key;
    ///         - missingKey: there is not exactly one encryption key, or it has no platform key;
    ///         - algorithmNotSupported: unknown signature algorithm;
    ///         - JWSSignerError: as JWSSigner::signJWT();
    ///         - algorithmNotSupported: unknown key management or content encryption algorithm;
    ///         - invalidKeyFormat: the encryption key does not fit its algorithm;
    ///         - JOSE::JOSESwiftError parsingFailed: rejected extra parameters of the JWE header;
    ///         - JWEEncrypterError: as JWEEncrypter::encryptJWT().
    /// @throws std::bad_alloc when memory runs out.
    [[nodiscard]] ByteBuffer encodeMessage(ByteView rawMessage) const;
    [[nodiscard]] ByteBuffer encodeMessage(const TextLike auto& rawMessage) const {
        return encodeMessage(asBytes(rawMessage));
    }
    /// @}

    /// @{
    /// encodeMessage(), with the token as a string. Needs memory for two tokens while it runs.
    [[nodiscard]] std::string encodeMessageToString(ByteView rawMessage) const;
    [[nodiscard]] std::string encodeMessageToString(const TextLike auto& rawMessage) const {
        return encodeMessageToString(asBytes(rawMessage));
    }
    /// @}

    /// @{
    /// Decrypts a nested token with our private key, verifies the JWS inside with the peer's public keys, and returns
    /// the message.
    ///
    /// The keys are RSA keys, of type RSA2048Key whatever their size. Ours, from setSenderJwkSet(), is the private key
    /// with the use JWK_ENC and the "kid" of the JWE header. The peer's, from setRecipientJwkSet(), are the public keys
    /// with the use JWK_SIG and the "kid" of the JWS header; they are tried in order until one verifies. Where a header
    /// has no "kid", keys of every id are looked up. Both headers have to name the configured algorithms. The limits
    /// are those of Builder::setLimits().
    ///
    /// @param encodedMessage the compact JWE: ASCII text in five parts of canonical unpadded base64url, of any length.
    /// @returns the message exactly as the peer passed it to encodeMessage(). The capacity is that of the decrypted
    ///          JWS, at least a third more than the message; shrink_to_fit() releases the rest.
    /// @throws JOSEError, in this order:
    ///         - JWEDecrypterError wrapping JOSE::JOSESwiftError parsingFailed: more than tokenBytes or headerBytes;
    ///         - invalidJOSEComponent: the token has no dot, or a part that is empty or not base64url;
    ///         - missingKey: there is not exactly one decryption key, or it has no platform key;
    ///         - algorithmNotSupported: unknown key management or content encryption algorithm;
    ///         - invalidKeyFormat: the decryption key does not fit its algorithm;
    ///         - JWEDecrypterError: as JWEDecrypter::decryptJWE();
    ///         - JWSVerificationError wrapping JOSE::JOSESwiftError parsingFailed: the JWS has more than headerBytes;
    ///         - invalidJOSEComponent: the same for the plaintext, whose payload may be empty;
    ///         - missingKey: there is no verification key;
    ///         - algorithmNotSupported: unknown signature algorithm;
    ///         - JWSVerificationError: as JWSVerifier::verifyJWS(), of the last key.
    /// @throws ClaimsError as Builder::setClaimsPolicy() and Builder::bindRecipient() say, and what else the policy
    ///         throws.
    /// @throws std::bad_alloc when memory runs out.
    ///
    /// After any error what was decrypted is wiped, and nothing of it is released, except that the text of
    /// invalidJOSEComponent quotes the part at fault, which may be decrypted text: do not show it to the sender.
    [[nodiscard]] ByteBuffer decodeMessage(ByteView encodedMessage) const;
    [[nodiscard]] ByteBuffer decodeMessage(const TextLike auto& encodedMessage) const {
        return decodeMessage(asBytes(encodedMessage));
    }
    /// @}

    /// @{
    /// decodeMessage(), with the message as a string, which is not checked to be UTF-8. Needs memory for two messages
    /// while it runs; the intermediate copy is wiped.
    [[nodiscard]] std::string decodeMessageToString(ByteView encodedMessage) const;
    [[nodiscard]] std::string decodeMessageToString(const TextLike auto& encodedMessage) const {
        return decodeMessageToString(asBytes(encodedMessage));
    }
    /// @}

    /// @{
    /// decodeMessage(), with the headers, the key that verified the message and, where a policy is set, the claims.
    [[nodiscard]] DecodedMessage decode(ByteView encodedMessage) const;
    [[nodiscard]] DecodedMessage decode(const TextLike auto& encodedMessage) const {
        return decode(asBytes(encodedMessage));
    }
    /// @}

  private:
    struct Configuration;
    explicit JOSEHelper(std::shared_ptr<const Configuration> configuration) noexcept
        : configuration_(std::move(configuration)) {}

    std::shared_ptr<const Configuration> configuration_;
};

/// Collects the configuration of a JOSEHelper, in any order; each setter returns the builder. Not to be used from two
/// threads at once.
class TORVANE_EXPORT JOSEHelper::Builder {
  public:
    Builder() = default;
    virtual ~Builder() = default;
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;

    /// Extra protected header parameters of the JWS; each call replaces all of them.
    virtual Builder& addJwsHeaders(JOSE::HeaderParameters headers) TORVANE_LIFETIMEBOUND;
    /// Extra protected header parameters of the JWE; each call replaces all of them.
    virtual Builder& addJweHeaders(JOSE::HeaderParameters headers) TORVANE_LIFETIMEBOUND;

    // Names of docs/algorithms.md. An unknown name is reported only when a message is encoded or decoded.

    /// "RS256" unless set.
    virtual Builder& setJWSAlgorithm(std::string algorithm) TORVANE_LIFETIMEBOUND;
    /// "RSA-OAEP-256" unless set.
    virtual Builder& setJWEKeyManagementAlgorithm(std::string algorithm) TORVANE_LIFETIMEBOUND;
    /// "A128CBC-HS256" unless set.
    virtual Builder& setJWEContentEncryptionAlgorithm(std::string algorithm) TORVANE_LIFETIMEBOUND;

    /// Our own keys, and the id of the one that signs; without an id encodeMessage() needs exactly one RSA private key
    /// for signing in the set.
    virtual Builder& setSenderJwkSet(JsonWebKeySet jwkSet,
                                     std::optional<std::string> signingKeyId = std::nullopt) TORVANE_LIFETIMEBOUND;
    /// The peer's keys, and the id of the one to encrypt to; without an id encodeMessage() needs exactly one RSA public
    /// key for encryption in the set.
    virtual Builder& setRecipientJwkSet(JsonWebKeySet jwkSet, std::optional<std::string> encryptionKeyId = std::nullopt)
        TORVANE_LIFETIMEBOUND;

    /// What decodeMessage() accepts at most: headerBytes, jsonDepth and jsonMembers of either header, keysTried, and
    /// tokenBytes. A token that is beyond tokenBytes or headerBytes is rejected at once; a header that is beyond
    /// jsonDepth or jsonMembers counts as malformed, so its "kid" is not seen. Limits() unless set.
    virtual Builder& setLimits(const Limits& limits) TORVANE_LIFETIMEBOUND;

    /// Decoded messages have to be claims that the policy accepts: decoding then throws what ClaimsPolicy::readClaims()
    /// throws, also for a message that is not claims. Applies jsonDepth and jsonMembers to them.
    Builder& setClaimsPolicy(ClaimsPolicy policy) TORVANE_LIFETIMEBOUND;

    /// Binds messages to their recipient. A peer who gets a message from us, or from our sender, can encrypt it anew to
    /// somebody else, and the signature still verifies; this tells them that it was not for them.
    ///
    /// Encoding then sets the protected parameter "recipient_jkt" of the JWS to the SHA-256 thumbprint (RFC 7638) of
    /// the recipient's key. Decoding throws ClaimsError unless the message is for us: wrongAudience for another
    /// "recipient_jkt", and for claims whose "aud" has none of our names; missingClaim for a message that has neither
    /// "recipient_jkt" nor, if there are names, "aud".
    /// @param ourNames the names by which senders know us in "aud"; without names, "aud" is not looked at.
    Builder& bindRecipient(std::vector<std::string> ourNames = {}) TORVANE_LIFETIMEBOUND;

    /// A helper with the configuration as it is now. Later calls of the setters do not change it.
    /// @throws JOSEError missingKey when a key set was not given; the sender's set is checked first.
    [[nodiscard]] virtual JOSEHelper create() const;

  private:
    std::optional<std::string> jwsSignerAlgorithm_;
    std::optional<std::string> jweKeyManagementAlgorithm_;
    std::optional<std::string> jweContentEncryptionAlgorithm_;
    std::optional<JsonWebKeySet> senderJwkSet_;
    std::optional<JsonWebKeySet> recipientJwkSet_;
    JOSE::HeaderParameters jwsHeaders_;
    JOSE::HeaderParameters jweHeaders_;
    std::optional<std::string> signingKeyId_;
    std::optional<std::string> encryptionKeyId_;
    Limits limits_;
    std::shared_ptr<const MessageRules> rules_;
};

}  // namespace Torvane
