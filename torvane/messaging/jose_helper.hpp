// JOSEHelper: a message out as a nested token, a nested token in as the message. A nested token is a JWS
// inside a JWE (RFC 7519, section 5.2, with any bytes as the payload).
//
//     auto helper = Torvane::JOSEHelper::Builder()
//                       .setSenderJwkSet(ourPrivateKeys, "our-signing-key")
//                       .setRecipientJwkSet(theirPublicKeys, "their-encryption-key")
//                       .create();
//     Torvane::ByteBuffer token = helper.encodeMessage(message);
//     Torvane::ByteBuffer answer = helper.decodeMessage(theirToken);
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// Made by its Builder; immutable, cheap to copy, and safe to use from several threads at once.
class TORVANE_EXPORT JOSEHelper {
  public:
    class Builder;

    /// Signs the message with our private signing key, encrypts the JWS for the peer, and returns the compact
    /// JWE: ASCII text in five parts. Both keys are RSA keys (of type RSA2048Key, whatever their size), found
    /// by use and id; there must be exactly one of each.
    /// @throws JOSEError missingKey for a key that is not to be found, our own first; algorithmNotSupported for an
    ///         algorithm name that is not known; invalidKeyFormat for a key that does not fit; JWSSignerError
    ///         and JWEEncrypterError around the reason when signing or encrypting fails. JOSE::JOSESwiftError
    ///         when extra JWE header parameters are refused.
    ByteBuffer encodeMessage(ByteView rawMessage) const;

    /// Decrypts a compact JWE with the private key that its header names, verifies the JWS inside with the peer's keys
    /// that its header names (each in turn, the first that verifies wins), and returns the signed payload, in memory
    /// that has room for a third more: shrink_to_fit() gives it back.
    /// @throws JOSEError invalidJOSEComponent for a token, or a token inside, that is no compact serialisation (its
    ///         text quotes the piece at fault, so it is not for showing to the sender); missingKey for keys that are
    ///         not to be found; algorithmNotSupported and invalidKeyFormat as above; JWEDecrypterError and
    ///         JWSVerificationError around the reason.
    ByteBuffer decodeMessage(ByteView encodedMessage) const;

  private:
    struct Configuration;
    explicit JOSEHelper(std::shared_ptr<const Configuration> configuration) noexcept
        : configuration_(std::move(configuration)) {}

    std::shared_ptr<const Configuration> configuration_;
};

/// Collects the configuration, in any order; each setter returns the builder. Not to be used from two threads at once.
class TORVANE_EXPORT JOSEHelper::Builder {
  public:
    Builder() = default;
    virtual ~Builder() = default;
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;

    /// Extra protected header parameters of the JWS; each call replaces the whole map.
    virtual Builder& addJwsHeaders(StringMap headers);
    /// Extra protected header parameters of the JWE; each call replaces the whole map.
    virtual Builder& addJweHeaders(StringMap headers);

    // Names as in RFC 7518; whether they are known shows when a message is encoded or decoded.

    /// "RS256" unless set.
    virtual Builder& setJWSAlgorithm(std::string algorithm);
    /// "RSA-OAEP-256" unless set.
    virtual Builder& setJWEKeyManagementAlgorithm(std::string algorithm);
    /// "A128CBC-HS256" unless set.
    virtual Builder& setJWEContentEncryptionAlgorithm(std::string algorithm);

    /// Our own keys, and the id of the one that signs; without an id, whichever signing key there is.
    virtual Builder& setSenderJwkSet(JsonWebKeySet jwkSet, std::optional<std::string> signingKeyId = std::nullopt);
    /// The peer's keys, and the id of the one to encrypt to; without an id, whichever encryption key there is.
    virtual Builder& setRecipientJwkSet(JsonWebKeySet jwkSet,
                                        std::optional<std::string> encryptionKeyId = std::nullopt);

    /// The helper, independent of the builder from here on.
    /// @throws JOSEError missingKey when a key set was not given, the sender's first.
    virtual JOSEHelper create() const;

  private:
    std::optional<std::string> jwsSignerAlgorithm_;
    std::optional<std::string> jweKeyManagementAlgorithm_;
    std::optional<std::string> jweContentEncryptionAlgorithm_;
    std::optional<JsonWebKeySet> senderJwkSet_;
    std::optional<JsonWebKeySet> recipientJwkSet_;
    std::optional<StringMap> jwsHeaders_;
    std::optional<StringMap> jweHeaders_;
    std::optional<std::string> signingKeyId_;
    std::optional<std::string> encryptionKeyId_;
};

}  // namespace Torvane
