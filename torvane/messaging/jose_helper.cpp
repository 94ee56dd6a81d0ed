#include "torvane/messaging/jose_helper.hpp"

#include <exception>
#include <utility>

#include "torvane/jwe/jwe_decrypter.hpp"
#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/jws/jws_signer.hpp"
#include "torvane/jws/jws_verifier.hpp"
#include "torvane/jwt/json_web_structure.hpp"
#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/jose/error.hpp"
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
    return set.find({.keyId = keyId, .use = use, .keyType = Zennet::KeyType::RSA2048Key, .keyClass = keyClass});
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

std::optional<std::string> keyIdIn(const JSONValue::Object& header) {
    const auto* keyId = stringMember(header, "kid");
    return keyId ? std::optional(*keyId) : std::nullopt;
}

// The header's "kid". A header that cannot be read, or has none, is no error: the lookup then goes without an id.
std::optional<std::string> extractKeyId(ByteView compactSerialization) {
    const auto text = Zennet::isUTF8(compactSerialization) ? asText(compactSerialization) : std::string_view();
    const auto header = JsonWebStructure::headerOf(text);
    return header ? keyIdIn(*header) : std::nullopt;
}

// A token that is in order is read once. From any other these give nothing, and it is read again by those who say,
// each at its turn, what is wrong with it.

std::optional<JOSE::ReceivedJWE> readJWE(ByteView token) {
    try {
        JOSE::ReceivedJWE jwe(token);
        if (!jwe.hasEmptyPart()) return jwe;
    } catch (const std::exception&) {
    }
    return std::nullopt;
}

// Takes the text over when it gives something.
std::optional<JOSE::ReceivedJWS> readJWS(ByteBuffer& token) {
    try {
        return JOSE::ReceivedJWS(std::move(token));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

ByteBuffer JOSEHelper::encodeMessage(ByteView rawMessage) const {
    const auto& [signerAlgorithm, keyManagementAlgorithm, contentEncryptionAlgorithm, senderJwkSet, recipientJwkSet,
                 jwsHeaders, jweHeaders, signingKeyId, encryptionKeyId] = *configuration_;
    const auto signingKey = onlyKey(findKeys(senderJwkSet, JWKUse::JWK_SIG, signingKeyId, KeyClass::privateKey), false,
                                    "Must provide sender's private key to sign JWTs.");
    const auto encryptionKey = onlyKey(findKeys(recipientJwkSet, JWKUse::JWK_ENC, encryptionKeyId, KeyClass::publicKey),
                                       true, "Must provide recipient's public key to encrypt JWTs.");

    auto jws = JWSSigner(signatureAlgorithmNamed(signerAlgorithm), signingKey).pendingJWT(rawMessage, jwsHeaders);
    try {
        const JWEEncrypter encrypter(keyManagementAlgorithm, contentEncryptionAlgorithm, *encryptionKey.key().keyRef(),
                                     encryptionKeyId);
        return encrypter.encryptJWT(jws, jweHeaders, true);
    } catch (...) {
        // A message is signed before it is encrypted, so what fails there is the failure.
        if (!jws.wasWritten()) jws.writeTo([](ByteView) {});
        throw;
    }
}

ByteBuffer JOSEHelper::decodeMessage(ByteView encodedMessage) const {
    const auto& configuration = *configuration_;
    auto jwe = readJWE(encodedMessage);
    const auto recipientId = jwe ? keyIdIn(jwe->header().parameters()) : extractKeyId(encodedMessage);
    const auto decryptionKey =
        onlyKey(findKeys(configuration.senderJwkSet, JWKUse::JWK_ENC, recipientId, KeyClass::privateKey), true,
                "Must provide sender's private key to decrypt JWTs.");
    const JWEDecrypter decrypter(configuration.keyManagementAlgorithm, configuration.contentEncryptionAlgorithm,
                                 *decryptionKey.key().keyRef());
    auto jwsText = jwe ? decrypter.decryptJWE(*std::move(jwe)) : decrypter.decryptJWE(encodedMessage);
    const WipeOnExit wipeJws(jwsText);

    auto jws = readJWS(jwsText);
    const auto signerId = jws ? keyIdIn(jws->header().parameters()) : extractKeyId(jwsText);
    const auto verificationKeys =
        findKeys(configuration.recipientJwkSet, JWKUse::JWK_SIG, signerId, KeyClass::publicKey);
    if (verificationKeys.empty()) {
        throw JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures.");
    }
    const auto algorithm = signatureAlgorithmNamed(configuration.signerAlgorithm);
    for (const auto& key : verificationKeys) {
        const JWSVerifier verifier(algorithm, key);
        try {
            return jws ? verifier.verifyJWS(*std::move(jws)) : verifier.verifyJWS(jwsText);
        } catch (const JOSEError&) {
            if (&key == &verificationKeys.back()) throw;
        }
    }
    throw JOSEError::JWSVerificationError(
        std::make_exception_ptr(JOSE::JOSESwiftError::verifyingFailed("Failed to verify JWT")));
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
