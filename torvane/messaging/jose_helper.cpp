#include "torvane/messaging/jose_helper.hpp"

#include <exception>
#include <utility>

#include "torvane/jwe/jwe_decrypter.hpp"
#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/jws/jws_signer.hpp"
#include "torvane/jws/jws_verifier.hpp"
#include "torvane/jwt/json_web_structure.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/zennet/text.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {

using Zennet::KeyClass;

struct JOSEHelper::Configuration {
    std::string signerAlgorithm;
    std::string keyManagementAlgorithm;
    std::string contentEncryptionAlgorithm;
    JsonWebKeySet senderJwkSet;
    JsonWebKeySet recipientJwkSet;
    std::optional<StringMap> jwsHeaders;
    std::optional<StringMap> jweHeaders;
    std::optional<std::string> signingKeyId;
    std::optional<std::string> encryptionKeyId;
};

namespace {

// RSA keys only, whatever the algorithms say. Without an id, keys of every id.
std::vector<JsonWebKey> findKeys(const JsonWebKeySet& set, JWKUse use, const std::optional<std::string>& keyId,
                                 KeyClass keyClass) {
    return set.findKeysFor({{"use", JSONValue::opaque(use)},
                            {"kty", JSONValue::opaque(Zennet::KeyType::RSA2048Key)},
                            {"kid", keyId ? JSONValue(*keyId) : JSONValue()}},
                           keyClass);
}

// Exactly one key that passes the test; several are as wrong as none.
JsonWebKey onlyKey(std::vector<JsonWebKey> keys, bool needsPlatformKey, const char* message) {
    if (keys.size() != 1 || (needsPlatformKey && !keys.front().key().keyRef())) throw JOSEError::missingKey(message);
    return std::move(keys.front());
}

JOSE::SignatureAlgorithm signatureAlgorithmNamed(const std::string& name) {
    const auto algorithm = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(name);
    if (!algorithm) {
        throw JOSEError::algorithmNotSupported("Algorithm '" + name + "' is not supported for signing/verifying data.");
    }
    return *algorithm;
}

// The header's "kid". A header that cannot be read, or has none, is no error: the lookup then goes without an id.
std::optional<std::string> extractKeyId(ByteView compactSerialization) {
    const auto text = Zennet::isUTF8(compactSerialization) ? asText(compactSerialization) : std::string_view();
    const auto header = JsonWebStructure::headerOf(text);
    const auto* keyId = header ? Platform::stringMember(*header, "kid") : nullptr;
    return keyId ? std::optional(*keyId) : std::nullopt;
}

}  // namespace

ByteBuffer JOSEHelper::encodeMessage(ByteView rawMessage) const {
    const auto& [signerAlgorithm, keyManagementAlgorithm, contentEncryptionAlgorithm, senderJwkSet, recipientJwkSet,
                 jwsHeaders, jweHeaders, signingKeyId, encryptionKeyId] = *configuration_;
    const auto signingKey = onlyKey(findKeys(senderJwkSet, JWKUse::JWK_SIG, signingKeyId, KeyClass::privateKey), false,
                                    "Must provide sender's private key to sign JWTs.");
    const auto encryptionKey = onlyKey(findKeys(recipientJwkSet, JWKUse::JWK_ENC, encryptionKeyId, KeyClass::publicKey),
                                       true, "Must provide recipient's public key to encrypt JWTs.");

    auto jws = JWSSigner(signatureAlgorithmNamed(signerAlgorithm), signingKey).signJWT(rawMessage, jwsHeaders);
    const Platform::WipeOnExit wipeJws(jws);
    const JWEEncrypter encrypter(keyManagementAlgorithm, contentEncryptionAlgorithm, *encryptionKey.key().keyRef(),
                                 encryptionKeyId);
    return encrypter.encryptJWT(jws, jweHeaders, true);
}

ByteBuffer JOSEHelper::decodeMessage(ByteView encodedMessage) const {
    const auto& configuration = *configuration_;
    const auto decryptionKey = onlyKey(
        findKeys(configuration.senderJwkSet, JWKUse::JWK_ENC, extractKeyId(encodedMessage), KeyClass::privateKey), true,
        "Must provide sender's private key to decrypt JWTs.");
    const JWEDecrypter decrypter(configuration.keyManagementAlgorithm, configuration.contentEncryptionAlgorithm,
                                 *decryptionKey.key().keyRef());
    auto jws = decrypter.decryptJWE(encodedMessage);
    const Platform::WipeOnExit wipeJws(jws);

    const auto verificationKeys =
        findKeys(configuration.recipientJwkSet, JWKUse::JWK_SIG, extractKeyId(jws), KeyClass::publicKey);
    if (verificationKeys.empty()) {
        throw JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures.");
    }
    auto lastError = JOSEError::JWSVerificationError(
        std::make_exception_ptr(JOSE::JOSESwiftError::verifyingFailed("Failed to verify JWT")));
    const auto algorithm = signatureAlgorithmNamed(configuration.signerAlgorithm);
    for (const auto& key : verificationKeys) {
        try {
            return JWSVerifier(algorithm, key).verifyJWS(jws);
        } catch (const JOSEError& error) {
            lastError = error;
        }
    }
    throw JOSEError(lastError);
}

JOSEHelper::Builder& JOSEHelper::Builder::addJwsHeaders(StringMap headers) {
    jwsHeaders_ = std::move(headers);
    return *this;
}

JOSEHelper::Builder& JOSEHelper::Builder::addJweHeaders(StringMap headers) {
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

JOSEHelper JOSEHelper::Builder::create() const {
    if (!senderJwkSet_) throw JOSEError::missingKey("Must provide sender's jwkset to sign and decrypt JWTs.");
    if (!recipientJwkSet_) throw JOSEError::missingKey("Must provide recipient's jwkset to verify and encrypt JWTs.");
    return JOSEHelper(std::make_shared<const Configuration>(
        Configuration{jwsSignerAlgorithm_.value_or("RS256"), jweKeyManagementAlgorithm_.value_or("RSA-OAEP-256"),
                      jweContentEncryptionAlgorithm_.value_or("A128CBC-HS256"), *senderJwkSet_, *recipientJwkSet_,
                      jwsHeaders_, jweHeaders_, signingKeyId_, encryptionKeyId_}));
}

}  // namespace Torvane
