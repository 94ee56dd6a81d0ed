#include "torvane/jwe/jwe_decrypter.hpp"

#include "torvane/jwe/internal/jwe_operations.hpp"

namespace Torvane {

using KeyManagement = JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm>;
using ContentEncryption = JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm>;

JWEDecrypter::JWEDecrypter(KeyManagement jweKeyManagementAlgorithm, ContentEncryption jweContentEncryptionAlgorithm,
                           const SecKey& decryptionPrivateKey)
    : decrypter_(makeEncrypterOrDecrypter<JOSE::Decrypter>(
          resolveAlgorithms(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm), decryptionPrivateKey)) {}

JWEDecrypter::JWEDecrypter(KeyManagement jweKeyManagementAlgorithm, ContentEncryption jweContentEncryptionAlgorithm,
                           const JsonWebKey& decryptionPrivateKey)
    : decrypter_(makeFromJWK<JOSE::Decrypter>(
          resolveAlgorithms(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm), decryptionPrivateKey)) {}

JWEDecrypter::JWEDecrypter(const JsonWebKey& jwk)
    : decrypter_(makeFromJWK<JOSE::Decrypter>(JWEAlgorithms(), requireUsableWithDefaults(jwk))), key_(jwk) {}

ByteBuffer JWEDecrypter::decryptJWE(ByteView jweData, const Limits& limits) const {
    return decryptReceivedJWE(
        *this, wrapErrors(JOSEError::JWEDecrypterError, [&] { return JOSE::ReceivedJWE(jweData, limits); }));
}

}  // namespace Torvane
