// What making an encrypter and making a decrypter have in common.
#pragma once

#include <string>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {

/// The two algorithms of a JWE.
struct JWEAlgorithms {
    JOSE::KeyManagementAlgorithm keyManagement = JOSE::KeyManagementAlgorithm::RSA_OAEP_256;
    JOSE::ContentEncryptionAlgorithm contentEncryption = JOSE::ContentEncryptionAlgorithm::A128CBC_HS256;
};

/// @throws JOSEError algorithmNotSupported for an unknown name; where both are, for that of the key management.
inline JWEAlgorithms algorithmsNamed(const std::string& keyManagementName, const std::string& contentEncryptionName) {
    const auto keyManagement = JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(keyManagementName);
    if (!keyManagement) {
        throw JOSEError::algorithmNotSupported(keyManagementName + " algorithm is not supported for key management.");
    }
    const auto contentEncryption = JOSE::fromRawValue<JOSE::ContentEncryptionAlgorithm>(contentEncryptionName);
    if (!contentEncryption) {
        throw JOSEError::algorithmNotSupported(contentEncryptionName +
                                               " algorithm is not supported for data encryption/decryption.");
    }
    return {*keyManagement, *contentEncryption};
}

/// A JOSE::Encrypter or JOSE::Decrypter for a platform key or a JWK; `role` is "encrypter" or "decrypter".
/// @throws JOSEError invalidKeyFormat when the key does not fit.
template <class Coder, class Key>
Coder makeJweCoder(const JWEAlgorithms& algorithms, const Key& key, const std::string& role) {
    auto coder = Coder::create(algorithms.keyManagement, algorithms.contentEncryption, key);
    if (!coder) {
        // The parenthesis stays open: it is the message that applications know.
        throw JOSEError::invalidKeyFormat("An error occurred while initializing " + role +
                                          " for JWE. Make sure the key you are using is following the "
                                          "requirements for the key management algorithm "
                                          "(" +
                                          std::string(rawValue(algorithms.keyManagement)) +
                                          " and encryption algorithm " +
                                          std::string(rawValue(algorithms.contentEncryption)) + ".");
    }
    return *std::move(coder);
}

/// The same for the JWK of a key, which must be of the class that the role asks for.
/// @throws JOSEError invalidKeyFormat for a key without a JWK, algorithmNotSupported for one of the other class, or of
///         a type other than EC256Key and RSA2048Key.
template <class Coder>
Coder makeJweCoderForJwk(const JWEAlgorithms& algorithms, const JsonWebKey& jwk, Zennet::KeyClass keyClass,
                         const std::string& role) {
    if (!jwk.jwk()) throw JOSEError::invalidKeyFormat("An error occurred while initializing encrypter for JWE.");
    const auto& key = jwk.key();
    const bool isKnownType = key.keyType() == Zennet::KeyType::EC256Key || key.keyType() == Zennet::KeyType::RSA2048Key;
    if (key.keyClass() != keyClass || !isKnownType) throw JOSEError::algorithmNotSupported("Unsupported Key");
    return makeJweCoder<Coder>(algorithms, *jwk.jwk(), role);
}

/// The key itself, checked for what it must be before the default algorithms are tried on it.
/// @throws JOSEError curveNotSupported for a secp256k1 key, missingKey for one without a platform key.
inline const JsonWebKey& usableWithDefaults(const JsonWebKey& jwk) {
    if (Zennet::Secp256k1Utils::isSecp256k1Key(jwk.key())) {
        throw JOSEError::curveNotSupported("secp256k1 not supported for JWSEncrypter");
    }
    if (!jwk.key().keyRef()) throw JOSEError::missingKey("Missing keyRef for key " + jwk.keyId());
    return jwk;
}

}  // namespace Torvane
