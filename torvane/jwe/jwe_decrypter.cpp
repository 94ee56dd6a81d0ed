#include "torvane/jwe/jwe_decrypter.hpp"

#include "torvane/jwe/internal/coder_making.hpp"

namespace Torvane {
namespace {

JOSE::Decrypter decrypterForJwk(const JWEAlgorithms& algorithms, const JsonWebKey& key) {
    return makeJweCoderForJwk<JOSE::Decrypter>(algorithms, key, Zennet::KeyClass::privateKey, "decrypter");
}

JOSE::ReceivedJWE receivedJWE(ByteView jweData) {
    try {
        return JOSE::ReceivedJWE(jweData);
    } catch (...) {
        throw JOSEError::JWEDecrypterError(std::current_exception());
    }
}

}  // namespace

JWEDecrypter::JWEDecrypter(const std::string& jweKeyManagementAlgorithm,
                           const std::string& jweContentEncryptionAlgorithm, const SecKey& decryptionPrivateKey)
    : decrypter_(
          makeJweCoder<JOSE::Decrypter>(algorithmsNamed(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm),
                                        decryptionPrivateKey, "decrypter")) {}

JWEDecrypter::JWEDecrypter(const std::string& jweKeyManagementAlgorithm,
                           const std::string& jweContentEncryptionAlgorithm, const JsonWebKey& decryptionPrivateKey)
    : decrypter_(decrypterForJwk(algorithmsNamed(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm),
                                 decryptionPrivateKey)) {}

JWEDecrypter::JWEDecrypter(const JsonWebKey& jwk)
    : decrypter_(decrypterForJwk(JWEAlgorithms(), usableWithDefaults(jwk))), jwk_(jwk) {}

ByteBuffer JWEDecrypter::decryptJWE(ByteView jweData) const {
    return decryptJWE(receivedJWE(jweData));
}

ByteBuffer JWEDecrypter::decryptJWE(JOSE::ReceivedJWE&& jwe) const {
    try {
        return std::move(jwe).decrypt(decrypter_).data();
    } catch (...) {
        throw JOSEError::JWEDecrypterError(std::current_exception());
    }
}

}  // namespace Torvane
