#include "torvane/jwe/jwe_encrypter.hpp"

#include <utility>

#include "torvane/jwe/internal/coder_making.hpp"
#include "torvane/platform/jose/jwe.hpp"

namespace Torvane {
namespace {

JOSE::Encrypter encrypterForJwk(const JWEAlgorithms& algorithms, const JsonWebKey& key) {
    return makeJweCoderForJwk<JOSE::Encrypter>(algorithms, key, Zennet::KeyClass::publicKey, "encrypter");
}

template <class Payload>
ByteBuffer encrypted(const JWEEncrypter& with, Payload& payload, const std::optional<StringMap>& headerParams,
                     bool isNested) {
    JOSE::JWEHeader header(with.jweKeyManagementAlgorithm(), with.jweContentEncryptionAlgorithm(),
                           headerParams.value_or(StringMap()), with.keyId());
    if (isNested) header.setContentType("JWT");
    try {
        return JOSE::JWE(std::move(header), payload, with.encrypter()).compactSerializedData();
    } catch (const JOSEError&) {
        throw;
    } catch (...) {
        throw JOSEError::JWEEncrypterError(std::current_exception());
    }
}

}  // namespace

JWEEncrypter::JWEEncrypter(const std::string& jweKeyManagementAlgorithm,
                           const std::string& jweContentEncryptionAlgorithm, const SecKey& encryptionPublicKey,
                           std::optional<std::string> keyId)
    : encrypter_(makeJweCoder<JOSE::Encrypter>(
          algorithmsNamed(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm), encryptionPublicKey, "encrypter")),
      keyId_(std::move(keyId)) {}

JWEEncrypter::JWEEncrypter(const std::string& jweKeyManagementAlgorithm,
                           const std::string& jweContentEncryptionAlgorithm, const JsonWebKey& encryptionPublicKey,
                           std::optional<std::string> keyId)
    : encrypter_(encrypterForJwk(algorithmsNamed(jweKeyManagementAlgorithm, jweContentEncryptionAlgorithm),
                                 encryptionPublicKey)),
      keyId_(std::move(keyId)) {}

JWEEncrypter::JWEEncrypter(const JsonWebKey& jwk)
    : encrypter_(encrypterForJwk(JWEAlgorithms(), usableWithDefaults(jwk))), keyId_(jwk.keyId()), jwk_(jwk) {}

ByteBuffer JWEEncrypter::encryptJWT(ByteView payload, const std::optional<StringMap>& headerParams,
                                    bool isNested) const {
    return encrypted(*this, payload, headerParams, isNested);
}

ByteBuffer JWEEncrypter::encryptJWT(JOSE::Content& content, const std::optional<StringMap>& headerParams,
                                    bool isNested) const {
    return encrypted(*this, content, headerParams, isNested);
}

}  // namespace Torvane
