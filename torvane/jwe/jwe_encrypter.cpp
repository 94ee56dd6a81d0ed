#include "torvane/jwe/jwe_encrypter.hpp"

#include "torvane/jwe/internal/jwe_operations.hpp"

namespace Torvane {

using KeyManagement = JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm>;
using ContentEncryption = JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm>;

JWEEncrypter::JWEEncrypter(KeyManagement jweKeyManagementAlgorithm, ContentEncryption jweContentEncryptionAlgorithm,
                           const SecKey& encryptionPublicKey, std::optional<std::string> keyId)
    : encrypter_(makeEncrypterOrDecrypter<JOSE::Encrypter>(
          resolveAlgorithms(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm), encryptionPublicKey)),
      keyId_(std::move(keyId)) {}

JWEEncrypter::JWEEncrypter(KeyManagement jweKeyManagementAlgorithm, ContentEncryption jweContentEncryptionAlgorithm,
                           const JsonWebKey& encryptionPublicKey, std::optional<std::string> keyId)
    : encrypter_(makeFromJWK<JOSE::Encrypter>(
          resolveAlgorithms(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm), encryptionPublicKey)),
      keyId_(std::move(keyId)) {}

JWEEncrypter::JWEEncrypter(const JsonWebKey& jwk)
    : encrypter_(makeFromJWK<JOSE::Encrypter>(JWEAlgorithms(), requireUsableWithDefaults(jwk))),
      keyId_(jwk.keyId()),
      key_(jwk) {}

ByteBuffer JWEEncrypter::encryptJWT(ByteView payload, const JOSE::HeaderParameters& headerParams, bool isNested) const {
    auto header = makeHeader(*this, headerParams, isNested);
    return wrapErrors(JOSEError::JWEEncrypterError,
                      [&] { return JOSE::JWE(std::move(header), payload, encrypter_).compactSerializedData(); });
}

std::string JWEEncrypter::encryptJWTToString(ByteView payload, const JOSE::HeaderParameters& headerParams,
                                             bool isNested) const {
    return std::string(asText(encryptJWT(payload, headerParams, isNested)));
}

}  // namespace Torvane
