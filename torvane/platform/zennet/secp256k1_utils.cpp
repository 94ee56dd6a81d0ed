#include "torvane/platform/zennet/secp256k1_utils.hpp"

#include "torvane/platform/crypto/secp256k1_curve.hpp"
#include "torvane/platform/security/sec_random.hpp"
#include "torvane/platform/services/base64.hpp"
#include "torvane/platform/services/json_serialization.hpp"

namespace Zennet {

namespace Curve = Platform::Crypto::Secp256k1;

bool Secp256k1Utils::isSecp256k1Key(const Key& key) noexcept {
    return key.keyType() && key.keyType()->curve() == SECP256K1CURVE;
}

std::optional<Platform::ByteBuffer> Secp256k1Utils::encodeToJwk(const Key& publicKey,
                                                                const std::optional<Key>& privateKey,
                                                                std::string_view keyId) {
    const auto point = publicKey.keyData() ? Curve::publicPoint(*publicKey.keyData()) : std::nullopt;
    if (!point) return std::nullopt;

    Platform::ByteView scalar;
    if (privateKey) {
        scalar = privateKey->keyData().value_or(Platform::ByteView());
        if (!Curve::isPrivateKey(scalar) || Curve::publicPointOf(scalar) != *point) return std::nullopt;
    }

    const auto coordinate = [&point](std::size_t offset) {
        return Platform::encodeBase64url(Platform::ByteView(*point).subspan(offset, Curve::scalarSize));
    };
    Platform::JSONValue::Object jwk{{"kty", "EC"},         {"crv", SECP256K1CURVE}, {"x", coordinate(1)},
                                    {"y", coordinate(33)}, {"kid", keyId},          {"alg", "ES256K"}};
    if (!Platform::JSONSerialization::isValidJSONObject(jwk)) return std::nullopt;
    auto text = Platform::JSONSerialization::data(jwk);
    if (privateKey) {
        // The scalar goes straight into its place in the text, so that no copy of it stays behind.
        constexpr std::string_view member = ",\"d\":\"";
        Platform::ByteBuffer complete;
        complete.reserve(text.size() + member.size() + Platform::base64urlSize(scalar.size()) + 1);
        complete.assign(text.begin(), text.end() - 1);
        complete.insert(complete.end(), member.begin(), member.end());
        Platform::appendSecretBase64url(complete, scalar);
        complete.push_back('"');
        complete.push_back('}');
        return complete;
    }
    return text;
}

Secp256k1Utils::KeyPair Secp256k1Utils::generateKeyPair() {
    Platform::SecretBuffer scalar(Curve::scalarSize);
    do {
        Platform::secRandomCopyBytes(scalar);
    } while (!Curve::isPrivateKey(scalar));
    return {PrivateKey(scalar, KeyType::SECP256K1Key), PublicKey(Curve::publicPointOf(scalar), KeyType::SECP256K1Key)};
}

}  // namespace Zennet
