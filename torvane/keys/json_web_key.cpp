#include "torvane/keys/json_web_key.hpp"

#include <utility>

#include "torvane/platform/core/uuid.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/jose/thumbprint.hpp"
#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {
namespace {

using Zennet::KeyType;
using Zennet::Secp256k1Utils;

JOSEError missingPlatformKey(const std::string& keyId) {
    return JOSEError::missingKey("Missing keyRef for key " + keyId);
}

// The JWK of an RSA or EC public key; nothing for other keys.
std::optional<JOSE::JWK> makeJWK(const Zennet::Key& key, JWKUse use, const std::string& keyId,
                                 const std::optional<std::string>& algorithm = std::nullopt) {
    if (Secp256k1Utils::isSecp256k1Key(key)) return std::nullopt;
    if (!key.keyRef()) throw missingPlatformKey(keyId);
    if (!key.isPublicKey()) return std::nullopt;
    StringMap additionalParameters{{"use", std::string(rawValue(use))}, {"kid", keyId}};
    if (algorithm) additionalParameters.emplace("alg", *algorithm);
    if (key.keyType() == KeyType::RSA2048Key) return JOSE::RSAPublicKey(*key.keyRef(), std::move(additionalParameters));
    return JOSE::ECPublicKey(*key.keyRef(), std::move(additionalParameters));
}

Zennet::Key makeKey(const SecKey& secKey, KeyClass keyClass, KeyType keyType) {
    if (keyClass == KeyClass::publicKey) return Zennet::PublicKey(secKey, keyType);
    return Zennet::PrivateKey(secKey, keyType);
}

JOSE::JWK readPublicJWK(ByteView jwkData, KeyType keyType, const Limits& limits) {
    if (keyType == KeyType::RSA2048Key) return JOSE::RSAPublicKey::initFrom(jwkData, limits);
    return JOSE::ECPublicKey::initFrom(jwkData, limits);
}

KeyType readKeyType(const JOSE::JWK& jwk) {
    return getKeyType(jwk.keyType().value_or(JWKType::EC));
}

}  // namespace

JsonWebKey::JsonWebKey(State state) : state_(std::make_shared<const State>(std::move(state))) {}

JsonWebKey::JsonWebKey(const Zennet::Key& key, JWKUse jwkUse, std::string keyId,
                       const std::optional<Zennet::Key>& pairingKey)
    : JsonWebKey(State{makeJWK(key, jwkUse, keyId), key, jwkUse, std::move(keyId), pairingKey}) {}

JsonWebKey::JsonWebKey(const SecKey& secKey, JWKUse jwkUse, std::string keyId)
    : JsonWebKey(Zennet::Key(secKey), jwkUse, std::move(keyId)) {}

JsonWebKey::JsonWebKey(const SecKey& secKey, KeyClass keyClass, KeyType keyType, JWKUse jwkUse, std::string keyId)
    : JsonWebKey(makeKey(secKey, keyClass, keyType), jwkUse, std::move(keyId)) {}

JsonWebKey::JsonWebKey(ByteView jwkData, KeyType keyType, const Limits& limits)
    : JsonWebKey(readPublicJWK(jwkData, keyType, limits)) {}

JsonWebKey::JsonWebKey(const JOSE::JWK& jwk) : JsonWebKey(makeState(jwk.publicHalf())) {}

JsonWebKey::State JsonWebKey::makeState(const JOSE::JWK& publicJwk) {
    auto keyId = publicJwk["kid"];
    return {publicJwk, Zennet::PublicKey(getPubSecKey(publicJwk), readKeyType(publicJwk)),
            fromRawValue<JWKUse>(publicJwk["use"].value_or("sig_enc")).value_or(JWKUse::JWK_SIG_ENC),
            keyId ? *std::move(keyId) : randomUUID(), std::nullopt};
}

JsonWebKey JsonWebKey::fromPrivateJwk(ByteView jwkData, JWKUse jwkUse, std::string keyId, const Limits& limits) {
    return fromPrivateJwk(JOSE::JWK::initPrivateFrom(jwkData, limits), jwkUse, std::move(keyId));
}

JsonWebKey JsonWebKey::fromPrivateJwk(const JOSE::JWK& privateJwk, JWKUse jwkUse, std::string keyId) {
    const auto key = privateJwk.converted();
    if (key.isPublicKey()) throw JOSE::JOSESwiftError::unsupportedKey("The JWK is not a private key.");
    return JsonWebKey(
        State{privateJwk, Zennet::PrivateKey(key, readKeyType(privateJwk)), jwkUse, std::move(keyId), std::nullopt});
}

SecKey JsonWebKey::getPubSecKey(const JOSE::JWK& from) {
    if (!from.jsonData()) throw JOSEError::cannotDecodeJWK(nullptr);
    return wrapErrors(JOSEError::cannotDecodeJWK, [&] {
        if (!from.keyType()) throw JOSEError::curveNotSupported("Not supporting this JWKType yet");
        return from.publicHalf().converted();
    });
}

const JOSE::JWK* JsonWebKey::exportableJWK() const noexcept {
    return jwk() && key().isPublicKey() ? &*jwk() : nullptr;
}

SecKey JsonWebKey::platformKey() const {
    if (!key().keyRef()) throw missingPlatformKey(keyId());
    return *key().keyRef();
}

JsonWebKey JsonWebKey::publicHalf() const {
    if (key().isPublicKey()) return *this;
    const auto publicKey = key().publicKey();
    auto publicJwk = makeJWK(publicKey, use(), keyId(), jwk() ? (*jwk())["alg"] : std::nullopt);
    return JsonWebKey(State{std::move(publicJwk), publicKey, use(), keyId(), std::nullopt});
}

std::string JsonWebKey::publicKeyPem() const {
    return key().publicKeyPem();
}

std::optional<ByteBuffer> JsonWebKey::encode() const {
    if (Secp256k1Utils::isSecp256k1Key(key())) {
        if (key().isPublicKey()) return Secp256k1Utils::encodeToJwk(key(), std::nullopt, keyId());
        if (!pairingKey() || !pairingKey()->isPublicKey()) return std::nullopt;
        return Secp256k1Utils::encodeToJwk(*pairingKey(), key(), keyId());
    }
    const auto* jwk = exportableJWK();
    return jwk ? jwk->jsonData() : std::nullopt;
}

std::optional<std::string> JsonWebKey::encodeToString() const {
    auto bytes = encode();
    if (!bytes) return std::nullopt;
    const WipeOnExit wipeBytes(*bytes);
    return Zennet::isUTF8(*bytes) ? std::optional<std::string>(asText(*bytes)) : std::nullopt;
}

StringMap JsonWebKey::encodeToDictionary() const {
    auto bytes = encode();
    if (!bytes) throw JOSEError::cannotEncodeJWK(nullptr, "Failed to encode JWK to JSON.");
    const WipeOnExit wipeBytes(*bytes);
    const auto json = JSONSerialization::secretJSONObject(*bytes);
    auto dictionary = toStringMap(json.get());
    if (!dictionary) throw JOSEError::cannotEncodeJWK(nullptr, "Failed to encode JWK as Dictionary.");
    return *std::move(dictionary);
}

std::string JsonWebKey::thumbprint() const {
    return JOSE::thumbprint(JsonWebKey(key().publicKey(), use(), {}).encodeToDictionary());
}

}  // namespace Torvane
