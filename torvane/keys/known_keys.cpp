#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "torvane/keys/internal/secp256k1_jwk.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/uuid.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/internal/jwk_set_json.hpp"
#include "torvane/platform/key_library/internal/secp256k1_key.hpp"
#include "torvane/support/errors.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {
namespace {

using JOSE::JOSESwiftError;

JWKUse readUse(const JSONValue::Object& members) {
    const auto found = members.find(JWKParameters::jwk_key_use);
    if (found == members.end()) return JWKUse::JWK_SIG_ENC;
    const auto* text = found->second.as<std::string>();
    const auto use = text ? fromRawValue<JWKUse>(*text) : std::nullopt;
    if (!use) throw JOSESwiftError::unsupportedKey("The JWK's \"use\" is neither \"sig\" nor \"enc\".");
    return *use;
}

std::string readKeyId(const JSONValue::Object& members) {
    const auto* keyId = stringMember(members, JWKParameters::jwk_key_kid);
    return keyId ? *keyId : randomUUID();
}

// The same for a private key: its owner publishes the id, so it must be the same each time that the set is read.
JsonWebKey withKeyId(const JSONValue::Object& members, const std::function<JsonWebKey(std::string keyId)>& makeKey) {
    const auto* keyId = stringMember(members, JWKParameters::jwk_key_kid);
    return makeKey(keyId ? *keyId : makeKey({}).thumbprint());
}

bool isOnSecp256k1(const JSONValue::Object& members) {
    const auto* keyType = stringMember(members, "kty");
    return keyType && *keyType == "EC" && isSecp256k1JWK(members);
}

Zennet::PublicKey requireSecp256k1Point(const JSONValue::Object& members) {
    if (!Zennet::isSecp256k1Supported()) {
        throw JOSESwiftError::unsupportedKey("This build of the library has no secp256k1 keys.");
    }
    const auto algorithm = members.find(JWKParameters::jwk_key_alg);
    if (algorithm != members.end() && algorithm->second != JSONValue("ES256K")) {
        throw JOSESwiftError::unsupportedKey("The \"alg\" of a secp256k1 key is ES256K.");
    }
    auto point = readSecp256k1Point(members);
    if (!point) throw JOSESwiftError::parsingFailed("The \"x\" and \"y\" of the JWK are not a point of secp256k1.");
    return *std::move(point);
}

// A JsonWebKey keeps no JWK of a secp256k1 key, so its "key_ops" are obeyed here (RFC 7517, section 4.3).
void requireOperation(const JSONValue::Object& members, std::string_view operation) {
    const auto found = members.find("key_ops");
    if (found == members.end()) return;
    const auto* list = found->second.as<JSONValue::List>();
    if (list && std::find(list->begin(), list->end(), JSONValue(operation)) != list->end()) return;
    throw JOSESwiftError::unsupportedKey("The \"key_ops\" of the secp256k1 key lack \"" + std::string(operation) +
                                         "\".");
}

// A key that no algorithm takes would verify nothing, without a word about the reason.
void requireUsable(const SecKey& key) {
    const bool isRSA = std::holds_alternative<RSAPublicComponents>(key.publicComponents());
    if (!isRSA || JOSE::fits(JOSE::SignatureAlgorithm::RS256, key)) return;
    throw JOSESwiftError::unsupportedKey(
        "An RSA key needs 2048 to 16384 bits, and an odd exponent of 3 or more in at most 64 bits.");
}

JsonWebKey readPublicKey(const JSONValue::Object& members, const Limits& limits) {
    const auto use = readUse(members);
    if (isOnSecp256k1(members)) {
        requireOperation(members, "verify");
        return {requireSecp256k1Point(members), use, readKeyId(members)};
    }
    const auto jwk = JOSE::JWK::initFrom(members, limits);
    if (!jwk.keyType()) throw JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key.");
    JsonWebKey key(jwk);
    requireUsable(*key.key().keyRef());
    return key;
}

JsonWebKey readPrivateKey(const JSONValue::Object& members, const Limits& limits) {
    const auto use = readUse(members);
    if (!members.contains("d")) throw JOSESwiftError::parsingFailed("The JWK is not a private key.");
    if (!isOnSecp256k1(members)) {
        const auto jwk = JOSE::JWK::initPrivateFrom(members, limits);
        auto key = withKeyId(members,
                             [&](std::string keyId) { return JsonWebKey::fromPrivateJwk(jwk, use, std::move(keyId)); });
        requireUsable(*key.key().keyRef());
        return key;
    }
    requireOperation(members, "sign");
    const auto publicKey = requireSecp256k1Point(members);
    const auto scalar = readSecp256k1Scalar(members);
    const auto privateKey = scalar ? Zennet::makeSecp256k1PrivateKey(*scalar, publicKey) : std::nullopt;
    if (!privateKey) throw JOSESwiftError::parsingFailed("The \"d\" of the JWK is not the private key of its point.");
    return withKeyId(members,
                     [&](std::string keyId) { return JsonWebKey(*privateKey, use, std::move(keyId), publicKey); });
}

// The reason alone, without the names of the cases around it.
std::string innermostDescription(const Error& error) {
    const auto* wrapper = dynamic_cast<const JOSEError*>(&error);
    return wrapper && wrapper->underlyingError() ? localizedDescription(wrapper->underlyingError())
                                                 : error.errorDescription();
}

KnownKeys readKeys(ByteView text, const Limits& limits,
                   JsonWebKey (*readKey)(const JSONValue::Object&, const Limits&)) {
    return wrapErrors(JOSEError::cannotDecodeJWK, [&] {
        const auto json = JOSE::parseJWKSet(text, limits);
        const auto& list = JOSE::requireKeyList(json.get());
        KnownKeys known;
        for (const auto& entry : list) {
            try {
                known.set.jwks.push_back(readKey(JOSE::requireKeyMembers(entry), limits));
            } catch (const Error& error) {
                const auto* members = entry.as<JSONValue::Object>();
                const auto* keyId = members ? stringMember(*members, JWKParameters::jwk_key_kid) : nullptr;
                known.leftOut.push_back({static_cast<std::size_t>(&entry - list.data()),
                                         keyId ? std::optional(*keyId) : std::nullopt, innermostDescription(error)});
            }
        }
        return known;
    });
}

}  // namespace

KnownKeys JsonWebKeySet::readKnown(ByteView jwksData, const Limits& limits) {
    return readKeys(jwksData, limits, readPublicKey);
}

KnownKeys JsonWebKeySet::readPrivate(ByteView jwksData, const Limits& limits) {
    return readKeys(jwksData, limits, readPrivateKey);
}

}  // namespace Torvane
