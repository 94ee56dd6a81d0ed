#include "torvane/messaging/jose_helper.hpp"

#include <utility>

#include "torvane/jws/internal/jws_operations.hpp"
#include "torvane/messaging/internal/message_rules.hpp"
#include "torvane/messaging/internal/nested_message.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {

using Zennet::KeyClass;

struct JOSEHelper::Configuration {
    std::string signerAlgorithm;
    std::string keyManagementAlgorithm;
    std::string contentEncryptionAlgorithm;
    JsonWebKeySet senderJwkSet;
    JsonWebKeySet recipientJwkSet;
    JOSE::HeaderParameters jwsHeaders;
    JOSE::HeaderParameters jweHeaders;
    std::optional<std::string> signingKeyId;
    std::optional<std::string> encryptionKeyId;
    Limits limits;
    std::shared_ptr<const MessageRules> rules;
};

namespace {

// RSA keys only, which always have a platform key, whatever the algorithms say. Without an id, keys of every id.
std::vector<JsonWebKey> findKeys(const JsonWebKeySet& set, JWKUse use, const std::optional<std::string>& keyId,
                                 KeyClass keyClass) {
    return set.find({.keyId = keyId, .use = use, .keyType = Zennet::KeyType::RSA2048Key, .keyClass = keyClass});
}

// Returns the only key. Throws missingKey when there is none or more than one.
JsonWebKey requireOneKey(std::vector<JsonWebKey> keys, const char* message) {
    if (keys.size() != 1) throw JOSEError::missingKey(message);
    return std::move(keys.front());
}

}  // namespace

ByteBuffer JOSEHelper::encodeMessage(ByteView rawMessage) const {
    const auto& configuration = *configuration_;
    auto signingKey = requireOneKey(
        findKeys(configuration.senderJwkSet, JWKUse::JWK_SIG, configuration.signingKeyId, KeyClass::privateKey),
        "Must provide sender's private key to sign JWTs.");
    const auto encryptionKey = requireOneKey(
        findKeys(configuration.recipientJwkSet, JWKUse::JWK_ENC, configuration.encryptionKeyId, KeyClass::publicKey),
        "Must provide recipient's public key to encrypt JWTs.");
    const JWSSigner signer(configuration.signerAlgorithm, std::move(signingKey));
    const PreparedEncrypter encrypter(configuration.keyManagementAlgorithm, configuration.contentEncryptionAlgorithm,
                                      *encryptionKey.key().keyRef(), configuration.encryptionKeyId);
    const auto encode = [&](const JOSE::HeaderParameters& jwsHeaders) {
        return encodeNestedMessage(rawMessage, signer, jwsHeaders, encrypter, configuration.jweHeaders);
    };
    return configuration.rules ? encode(configuration.rules->bind(configuration.jwsHeaders, encryptionKey))
                               : encode(configuration.jwsHeaders);
}

std::string JOSEHelper::encodeMessageToString(ByteView rawMessage) const {
    return std::string(asText(encodeMessage(rawMessage)));
}

ByteBuffer JOSEHelper::decodeMessage(ByteView encodedMessage) const {
    return decode(encodedMessage).payload;
}

DecodedMessage JOSEHelper::decode(ByteView encodedMessage) const {
    const auto& configuration = *configuration_;
    ReceivedNestedMessage nested(encodedMessage, configuration.limits);
    const auto decryptionKey =
        requireOneKey(findKeys(configuration.senderJwkSet, JWKUse::JWK_ENC, nested.keyId(), KeyClass::privateKey),
                      "Must provide sender's private key to decrypt JWTs.");
    const JWEDecrypter decrypter(configuration.keyManagementAlgorithm, configuration.contentEncryptionAlgorithm,
                                 *decryptionKey.key().keyRef());
    auto signedMessage = nested.decrypt(decrypter);

    const auto verificationKeys =
        findKeys(configuration.recipientJwkSet, JWKUse::JWK_SIG, signedMessage.keyId(), KeyClass::publicKey);
    if (verificationKeys.empty()) {
        throw JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures.");
    }
    auto verified = signedMessage.verify(resolveAlgorithm(configuration.signerAlgorithm), verificationKeys);
    DecodedMessage message{{}, nested.takeHeader(), signedMessage.takeHeader(), verified.key, nullptr};
    if (configuration.rules) {
        message.claims = configuration.rules->accept(verified.payload.data(), message.jwsHeader, decryptionKey,
                                                     configuration.limits);
    }
    message.payload = std::move(verified.payload).data();
    return message;
}

std::string JOSEHelper::decodeMessageToString(ByteView encodedMessage) const {
    const JOSE::Payload message(decodeMessage(encodedMessage));
    return std::string(asText(message.data()));
}

JOSEHelper::Builder& JOSEHelper::Builder::addJwsHeaders(JOSE::HeaderParameters headers) {
    jwsHeaders_ = std::move(headers);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::addJweHeaders(JOSE::HeaderParameters headers) {
    jweHeaders_ = std::move(headers);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setJWSAlgorithm(std::string algorithm) {
    jwsSignerAlgorithm_ = std::move(algorithm);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setJWEKeyManagementAlgorithm(std::string algorithm) {
    jweKeyManagementAlgorithm_ = std::move(algorithm);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setJWEContentEncryptionAlgorithm(std::string algorithm) {
    jweContentEncryptionAlgorithm_ = std::move(algorithm);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setSenderJwkSet(JsonWebKeySet jwkSet,
                                                          std::optional<std::string> signingKeyId) {
    senderJwkSet_ = std::move(jwkSet);
    signingKeyId_ = std::move(signingKeyId);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setRecipientJwkSet(JsonWebKeySet jwkSet,
                                                             std::optional<std::string> encryptionKeyId) {
    recipientJwkSet_ = std::move(jwkSet);
    encryptionKeyId_ = std::move(encryptionKeyId);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::setLimits(const Limits& limits) {
    limits_ = limits;
    return *this;
}

JOSEHelper JOSEHelper::Builder::create() const {
    if (!senderJwkSet_) throw JOSEError::missingKey("Must provide sender's jwkset to sign and decrypt JWTs.");
    if (!recipientJwkSet_) throw JOSEError::missingKey("Must provide recipient's jwkset to verify and encrypt JWTs.");
    return JOSEHelper(std::make_shared<const Configuration>(
        Configuration{.signerAlgorithm = jwsSignerAlgorithm_.value_or("RS256"),
                      .keyManagementAlgorithm = jweKeyManagementAlgorithm_.value_or("RSA-OAEP-256"),
                      .contentEncryptionAlgorithm = jweContentEncryptionAlgorithm_.value_or("A128CBC-HS256"),
                      .senderJwkSet = *senderJwkSet_,
                      .recipientJwkSet = *recipientJwkSet_,
                      .jwsHeaders = jwsHeaders_,
                      .jweHeaders = jweHeaders_,
                      .signingKeyId = signingKeyId_,
                      .encryptionKeyId = encryptionKeyId_,
                      .limits = limits_,
                      .rules = rules_}));
}

}  // namespace Torvane
