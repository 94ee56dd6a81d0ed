#include "torvane/keys/internal/secp256k1_jwk.hpp"

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/key_library/internal/secp256k1_key.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"

namespace Torvane {
namespace {

template <class Buffer>
std::optional<Buffer> decodeMember(const std::string* text, std::optional<Buffer> (*decode)(std::string_view)) {
    return text ? decode(*text) : std::nullopt;
}

}  // namespace

bool isSecp256k1JWK(const JSONValue::Object& members) noexcept {
    const auto* curve = stringMember(members, "crv");
    return curve && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE;
}

std::optional<Zennet::PublicKey> readSecp256k1Point(const JSONValue::Object& members) {
    const auto x = decodeMember(stringMember(members, "x"), decodeBase64url);
    const auto y = decodeMember(stringMember(members, "y"), decodeBase64url);
    return x && y ? Zennet::makeSecp256k1PublicKey(*x, *y) : std::nullopt;
}

std::optional<SecretBuffer> readSecp256k1Scalar(const JSONValue::Object& members) {
    return decodeMember(stringMember(members, "d"), decodeSecretBase64url);
}

}  // namespace Torvane
