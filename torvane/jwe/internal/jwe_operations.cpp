#include "torvane/jwe/internal/jwe_operations.hpp"

#include "torvane/platform/key_library/secp256k1_utils.hpp"

namespace Torvane {

JWEAlgorithms resolveAlgorithms(const JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm>& keyManagement,
                                const JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm>& contentEncryption) {
    if (!keyManagement.algorithm()) {
        throw JOSEError::algorithmNotSupported(std::string(keyManagement.name()) +
                                               " algorithm is not supported for key management.");
    }
    if (!contentEncryption.algorithm()) {
        throw JOSEError::algorithmNotSupported(std::string(contentEncryption.name()) +
                                               " algorithm is not supported for data encryption/decryption.");
    }
    return {*keyManagement.algorithm(), *contentEncryption.algorithm()};
}

const JsonWebKey& requireUsableWithDefaults(const JsonWebKey& key) {
    if (Zennet::Secp256k1Utils::isSecp256k1Key(key.key())) {
        // Applications know this text, which says JWSEncrypter.
        throw JOSEError::curveNotSupported("secp256k1 not supported for JWSEncrypter");
    }
    static_cast<void>(key.platformKey());
    return key;
}

JOSE::JWEHeader makeHeader(const JWEEncrypter& encrypter, const JOSE::HeaderParameters& headerParams, bool isNested) {
    JOSE::JWEHeader header(encrypter.jweKeyManagementAlgorithm(), encrypter.jweContentEncryptionAlgorithm(),
                           headerParams, encrypter.keyId());
    if (isNested) header.setContentType("JWT");
    return header;
}

ByteBuffer decryptReceivedJWE(const JWEDecrypter& decrypter, JOSE::ReceivedJWE&& jwe) {
    return wrapErrors(JOSEError::JWEDecrypterError,
                      [&] { return std::move(jwe).decrypt(decrypter.decrypter()).data(); });
}

}  // namespace Torvane
