#include "torvane/messaging/token_profiles.hpp"

#include "torvane/messaging/internal/token_steps.hpp"

namespace Torvane {

JWEEncrypter EncryptionProfile::encrypter(const JsonWebKeySet& recipients) const {
    const auto [algorithm, key] = chooseRecipient(recipients, *this, std::nullopt);
    return {algorithm, firstContentEncryption(*this), *key.key().keyRef(), publishedKeyId(key)};
}

ByteBuffer EncryptionProfile::decrypt(ByteView token, const JsonWebKeySet& ours, const Limits& limits) const {
    auto jwe = readEncryptedToken(token, limits);
    return decryptToken(jwe, chooseDecrypter(ours, *this, jwe.header()).decrypter).data();
}

namespace Profiles {

using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;

NestedTokenProfile fapi2MessageSigning() {
    return {
        {PS256, ES256},
        {{RSA_OAEP_256, RSA_OAEP_384, RSA_OAEP_512, RSA_OAEP, ECDH_ES_A256KW, ECDH_ES_A192KW, ECDH_ES_A128KW, ECDH_ES},
         {A256GCM, A192GCM, A128GCM, A256CBC_HS512, A192CBC_HS384, A128CBC_HS256}}};
}

NestedTokenProfile openBanking() {
    return {{PS256}, {{RSA_OAEP}, {A256GCM}}};
}

EncryptionProfile openID4VPResponse() {
    return {{ECDH_ES}, {A128GCM, A256GCM}, EllipticCurve::P256};
}

}  // namespace Profiles

}  // namespace Torvane
