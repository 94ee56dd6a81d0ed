#include "torvane/platform/key_library/secp256k1_utils.hpp"

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/key_library/internal/secp256k1_key.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"
#include "torvane/platform/primitives/secret_random.hpp"

namespace Torvane::Zennet {

namespace Secp256k1 = Crypto::Secp256k1;

namespace {

bool isPair(ByteView scalar, const Secp256k1::Point& point) {
    return Secp256k1::isPrivateKey(scalar) && Secp256k1::derivePublicPoint(scalar) == point;
}

}  // namespace

bool isSecp256k1Supported() noexcept {
    return Secp256k1::isSupported();
}

std::optional<PublicKey> makeSecp256k1PublicKey(ByteView x, ByteView y) {
    if (x.size() != Secp256k1::coordinateSize || y.size() != Secp256k1::coordinateSize) return std::nullopt;
    const auto encoded = Crypto::encodePoint(x, y);
    if (!Secp256k1::parsePublicPoint(encoded)) return std::nullopt;
    return PublicKey(encoded, KeyType::SECP256K1Key);
}

std::optional<PrivateKey> makeSecp256k1PrivateKey(ByteView scalar, const PublicKey& publicKey) {
    const auto point = publicKey.keyData() ? Secp256k1::parsePublicPoint(*publicKey.keyData()) : std::nullopt;
    if (!point || !isPair(scalar, *point)) return std::nullopt;
    return PrivateKey(scalar, KeyType::SECP256K1Key);
}

bool Secp256k1Utils::isSecp256k1Key(const Key& key) noexcept {
    return key.keyType() && key.keyType()->curve() == SECP256K1CURVE;
}

std::optional<ByteBuffer> Secp256k1Utils::encodeToJwk(const Key& publicKey, const std::optional<Key>& privateKey,
                                                      std::string_view keyId) {
    const auto point = publicKey.keyData() ? Secp256k1::parsePublicPoint(*publicKey.keyData()) : std::nullopt;
    if (!point) return std::nullopt;

    ByteView scalar;
    if (privateKey) {
        scalar = privateKey->keyData().value_or(ByteView());
        if (!isPair(scalar, *point)) return std::nullopt;
    }

    const auto coordinate = [&point](std::size_t offset) {
        return encodeBase64url(ByteView(*point).subspan(offset, Secp256k1::coordinateSize));
    };
    JSONValue::Object jwk{{"kty", "EC"},        {"crv", SECP256K1CURVE},
                          {"x", coordinate(1)}, {"y", coordinate(1 + Secp256k1::coordinateSize)},
                          {"kid", keyId},       {"alg", "ES256K"}};
    if (!JSONSerialization::isValidJSONObject(jwk)) return std::nullopt;
    auto text = JSONSerialization::data(jwk);
    if (privateKey) {
        // The scalar is encoded straight into the text, so that no other copy of it is left in memory.
        constexpr std::string_view member = R"(,"d":")";
        ByteBuffer complete;
        complete.reserve(text.size() + member.size() + base64urlSize(scalar.size()) + 1);
        complete.assign(text.begin(), text.end() - 1);
        complete.insert(complete.end(), member.begin(), member.end());
        appendSecretBase64url(complete, scalar);
        complete.push_back('"');
        complete.push_back('}');
        return complete;
    }
    return text;
}

Secp256k1Utils::KeyPair Secp256k1Utils::generateKeyPair() {
    Secp256k1::requireSupport();
    SecretBuffer scalar(Secp256k1::scalarSize);
    do {
        Crypto::fillWithRandomSecret(scalar);
    } while (!Secp256k1::isPrivateKey(scalar));
    return {PrivateKey(scalar, KeyType::SECP256K1Key),
            PublicKey(Secp256k1::derivePublicPoint(scalar), KeyType::SECP256K1Key)};
}

}  // namespace Torvane::Zennet
