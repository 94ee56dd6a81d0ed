// Operations shared by JWEEncrypter, JWEDecrypter and nested messages: making a JOSE::Encrypter or JOSE::Decrypter from
// names and a key, and using it.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "torvane/jwe/jwe_decrypter.hpp"
#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {

/// The two algorithms of a JWE.
struct JWEAlgorithms {
    JOSE::KeyManagementAlgorithm keyManagement = JOSE::KeyManagementAlgorithm::RSA_OAEP_256;
    JOSE::ContentEncryptionAlgorithm contentEncryption = JOSE::ContentEncryptionAlgorithm::A128CBC_HS256;
};

/// The algorithms that the arguments name.
/// @throws JOSEError algorithmNotSupported for an unknown name; when both are unknown, that of the key management
///         algorithm.
JWEAlgorithms resolveAlgorithms(const JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm>& keyManagement,
                                const JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm>& contentEncryption);

/// A JOSE::Encrypter or JOSE::Decrypter for a platform key or a JOSE::JWK.
/// @throws JOSEError invalidKeyFormat when the key does not fit.
template <class EncrypterOrDecrypter, class Key>
EncrypterOrDecrypter makeEncrypterOrDecrypter(const JWEAlgorithms& algorithms, const Key& key) {
    auto created = EncrypterOrDecrypter::create(algorithms.keyManagement, algorithms.contentEncryption, key);
    if (!created) {
        const std::string role = std::is_same_v<EncrypterOrDecrypter, JOSE::Encrypter> ? "encrypter" : "decrypter";
        // The parenthesis is never closed: applications know exactly this text.
        throw JOSEError::invalidKeyFormat("An error occurred while initializing " + role +
                                          " for JWE. Make sure the key you are using is following the "
                                          "requirements for the key management algorithm "
                                          "(" +
                                          std::string(rawValue(algorithms.keyManagement)) +
                                          " and encryption algorithm " +
                                          std::string(rawValue(algorithms.contentEncryption)) + ".");
    }
    return *std::move(created);
}

/// The same for the JWK of a JSON Web Key, which must be a public key for an encrypter, a private one for a decrypter.
/// @throws JOSEError invalidKeyFormat for a key without a JWK; algorithmNotSupported for one of the other class, or of
///         a type other than EC256Key and RSA2048Key; invalidKeyFormat when the key does not fit.
template <class EncrypterOrDecrypter>
EncrypterOrDecrypter makeFromJWK(const JWEAlgorithms& algorithms, const JsonWebKey& jsonWebKey) {
    // Applications know this text, which says encrypter for a decrypter too.
    if (!jsonWebKey.jwk()) throw JOSEError::invalidKeyFormat("An error occurred while initializing encrypter for JWE.");
    const auto& key = jsonWebKey.key();
    const bool needsPublicKey = std::is_same_v<EncrypterOrDecrypter, JOSE::Encrypter>;
    const bool isKnownType = key.keyType() == Zennet::KeyType::EC256Key || key.keyType() == Zennet::KeyType::RSA2048Key;
    if (key.isPublicKey() != needsPublicKey || !isKnownType) throw JOSEError::algorithmNotSupported("Unsupported Key");
    return makeEncrypterOrDecrypter<EncrypterOrDecrypter>(algorithms, *jsonWebKey.jwk());
}

/// Returns the key itself if the default algorithms can be tried with it.
/// @throws JOSEError curveNotSupported for a secp256k1 key; missingKey for one without a platform key.
const JsonWebKey& requireUsableWithDefaults(const JsonWebKey& key);

/// The header of a JWE that the encrypter makes.
/// @throws JOSE::JOSESwiftError parsingFailed for a rejected header.
JOSE::JWEHeader makeHeader(const JWEEncrypter& encrypter, const JOSE::HeaderParameters& headerParams, bool isNested);

/// Decrypts a JWE that has been read.
/// @throws JOSEError JWEDecrypterError.
ByteBuffer decryptReceivedJWE(const JWEDecrypter& decrypter, JOSE::ReceivedJWE&& jwe);

}  // namespace Torvane
