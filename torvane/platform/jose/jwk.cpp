#include "torvane/platform/jose/jwk.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/thumbprint.hpp"
#include "torvane/platform/key_stores/software_key_store.hpp"

namespace Torvane::JOSE {
namespace {

constexpr std::array<std::pair<std::string_view, EllipticCurve>, 3> curves{
    {{"P-256", EllipticCurve::P256}, {"P-384", EllipticCurve::P384}, {"P-521", EllipticCurve::P521}}};
static_assert(curves.size() == static_cast<std::size_t>(EllipticCurve::P521) + 1);

SecretJSON parseJWK(ByteView text, const Limits& limits) {
    try {
        return JSONSerialization::secretJSONObject(text, limits);
    } catch (const JSONError& error) {
        throw JOSESwiftError::parsingFailed("The JWK cannot be read. " + error.errorDescription());
    }
}

const JSONValue::Object& requireObject(const SecretJSON& json) {
    if (const auto* members = json.get().as<JSONValue::Object>()) return *members;
    throw JOSESwiftError::parsingFailed("The JWK is not a JSON object.");
}

const std::string& requireString(const JSONValue::Object& members, std::string_view name) {
    const auto* value = stringMember(members, name);
    if (value == nullptr) {
        throw JOSESwiftError::parsingFailed("The JWK's \"" + std::string(name) + "\" is missing or not a string.");
    }
    return *value;
}

[[noreturn]] void rejectNumber(std::string_view name) {
    throw JOSESwiftError::parsingFailed("The JWK's \"" + std::string(name) +
                                        "\" is not a number in base64url of the right length.");
}

// A Base64urlUInt: a number in as few bytes as possible (RFC 7518, section 2).
ByteBuffer readMinimalNumber(const JSONValue::Object& members, std::string_view name) {
    auto bytes = decodeBase64url(requireString(members, name));
    if (!bytes || bytes->empty() || bytes->front() == 0) rejectNumber(name);
    return *std::move(bytes);
}

ByteBuffer readCoordinate(const JSONValue::Object& members, std::string_view name, EllipticCurve curve) {
    auto bytes = decodeBase64url(requireString(members, name));
    if (!bytes || bytes->size() != coordinateSize(curve)) rejectNumber(name);
    return *std::move(bytes);
}

SecretBuffer readSecret(const JSONValue::Object& members, std::string_view name) {
    auto bytes = decodeSecretBase64url(requireString(members, name));
    if (!bytes || bytes->empty()) rejectNumber(name);
    return *std::move(bytes);
}

EllipticCurve findCurve(std::string_view name) {
    for (const auto& [known, curve] : curves) {
        if (known == name) return curve;
    }
    throw JOSESwiftError::unsupportedKey("The JWK's curve is not P-256, P-384 or P-521.");
}

std::string curveName(EllipticCurve curve) {
    return std::string(curves[static_cast<std::size_t>(curve)].first);
}

std::optional<JWKType> readKeyType(const JSONValue::Object& members) {
    return fromRawValue<JWKType>(requireString(members, "kty"));
}

RSAPublicComponents readRSAComponents(const JSONValue::Object& members, const Limits& limits) {
    RSAPublicComponents components{readMinimalNumber(members, "n"), readMinimalNumber(members, "e")};
    if (countBits(components.modulus) > limits.rsaBits) {
        throw JOSESwiftError::unsupportedKey("The RSA modulus has more than " + std::to_string(limits.rsaBits) +
                                             " bits.");
    }
    return components;
}

ECPublicComponents readECComponents(const JSONValue::Object& members) {
    const auto curve = findCurve(requireString(members, "crv"));
    return {curve, readCoordinate(members, "x", curve), readCoordinate(members, "y", curve)};
}

SecKey readRSAPrivateKey(const JSONValue::Object& members, const Limits& limits) {
    if (members.contains("oth")) {
        throw JOSESwiftError::unsupportedKey("An RSA key of more than two primes is not supported.");
    }
    return SoftwareKeyStore::fromComponents(RSAPrivateComponents{
        readRSAComponents(members, limits), readSecret(members, "d"), readSecret(members, "p"),
        readSecret(members, "q"), readSecret(members, "dp"), readSecret(members, "dq"), readSecret(members, "qi")});
}

SecKey readECPrivateKey(const JSONValue::Object& members) {
    const ECPrivateComponents components{readECComponents(members), readSecret(members, "d")};
    if (components.d.size() != coordinateSize(components.publicHalf.curve)) rejectNumber("d");
    return SoftwareKeyStore::fromComponents(components);
}

StringMap selectPublicStrings(const JSONValue::Object& members) {
    StringMap strings;
    for (const auto& [name, value] : members) {
        const auto* string = value.as<std::string>();
        if (string && !isPrivateMember(name)) strings.emplace(name, *string);
    }
    return strings;
}

JSONValue::Object selectOtherMembers(const JSONValue::Object& members) {
    JSONValue::Object others;
    for (const auto& [name, value] : members) {
        if (!value.as<std::string>() && !isPrivateMember(name)) others.emplace(name, value);
    }
    return others;
}

StringMap dropPrivateMembers(StringMap parameters) {
    std::erase_if(parameters, [](const auto& parameter) { return isPrivateMember(parameter.first); });
    return parameters;
}

StringMap makeRSAParameters(const SecKey& key, StringMap parameters) {
    const auto* components = std::get_if<RSAPublicComponents>(&key.publicComponents());
    if (components == nullptr || !key.isPublicKey()) {
        throw JOSESwiftError::unsupportedKey("An RSA JWK is made from a public RSA key.");
    }
    parameters["kty"] = "RSA";
    parameters["n"] = encodeBase64url(components->modulus);
    parameters["e"] = encodeBase64url(components->exponent);
    return parameters;
}

StringMap makeECParameters(const SecKey& key, StringMap parameters) {
    const auto* point = std::get_if<ECPublicComponents>(&key.publicComponents());
    if (point == nullptr || !key.isPublicKey()) {
        throw JOSESwiftError::unsupportedKey("An EC JWK is made from a public EC key.");
    }
    parameters["kty"] = "EC";
    parameters["crv"] = curveName(point->curve);
    parameters["x"] = encodeBase64url(point->x);
    parameters["y"] = encodeBase64url(point->y);
    return parameters;
}

}  // namespace

bool isPrivateMember(std::string_view name) noexcept {
    constexpr std::array<std::string_view, 9> privateMembers{"d", "p", "q", "dp", "dq", "qi", "oth", "k", "priv"};
    return std::ranges::find(privateMembers, name) != privateMembers.end();
}

JWK::JWK(StringMap parameters, Key key, JSONValue::Object otherMembers)
    : state_(std::make_shared<const State>(State{std::move(parameters), std::move(key), std::move(otherMembers)})) {}

JWK::JWK(const JWK& jwk, JWKType expected) : JWK(jwk) {
    if (keyType() == expected) return;
    throw JOSESwiftError::unsupportedKey(expected == JWKType::RSA ? "The JWK is not an RSA key."
                                                                  : "The JWK is not an EC key.");
}

JWK JWK::initFrom(ByteView json, const Limits& limits) {
    return initFrom(requireObject(parseJWK(json, limits)), limits);
}

JWK JWK::initFrom(const JSONValue::Object& members, const Limits& limits) {
    const auto keyType = readKeyType(members);
    Key key;
    if (keyType == JWKType::RSA) key = readRSAComponents(members, limits);
    if (keyType == JWKType::EC) key = readECComponents(members);
    return {selectPublicStrings(members), std::move(key), selectOtherMembers(members)};
}

JWK JWK::initPrivateFrom(ByteView json, const Limits& limits) {
    const auto parsed = parseJWK(json, limits);
    return initPrivateFrom(requireObject(parsed), limits);
}

JWK JWK::initPrivateFrom(const JSONValue::Object& members, const Limits& limits) {
    const auto make = [&members](const SecKey& key) {
        return JWK(selectPublicStrings(members), key, selectOtherMembers(members));
    };
    const auto keyType = readKeyType(members);
    if (keyType == JWKType::RSA) return make(readRSAPrivateKey(members, limits));
    if (keyType == JWKType::EC) return make(readECPrivateKey(members));
    throw JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key.");
}

std::optional<JWKType> JWK::keyType() const noexcept {
    const auto member = parameters().find("kty");
    return member == parameters().end() ? std::nullopt : fromRawValue<JWKType>(member->second);
}

std::optional<std::string> JWK::operator[](std::string_view name) const {
    const auto member = parameters().find(name);
    return member == parameters().end() ? std::nullopt : std::optional(member->second);
}

SecKey JWK::converted() const {
    if (const auto* key = std::get_if<SecKey>(&state_->key)) return *key;
    if (const auto* components = publicComponents()) return SecKey(*components);
    throw JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key.");
}

JWK JWK::publicHalf() const {
    const auto* key = std::get_if<SecKey>(&state_->key);
    return key == nullptr || key->isPublicKey() ? *this : JWK(parameters(), key->publicKey(), otherMembers());
}

std::string JWK::thumbprint(HashFunction hash) const {
    return JOSE::thumbprint(parameters(), hash);
}

const PublicComponents* JWK::publicComponents() const noexcept {
    const auto* handle = std::get_if<SecKey>(&state_->key);
    return handle != nullptr ? &handle->publicComponents() : std::get_if<PublicComponents>(&state_->key);
}

bool operator==(const JWK& a, const JWK& b) {
    const auto *keyOfA = a.publicComponents(), *keyOfB = b.publicComponents();
    if (keyOfA == nullptr && keyOfB == nullptr) return a.parameters() == b.parameters();
    return keyOfA != nullptr && keyOfB != nullptr && *keyOfA == *keyOfB;
}

std::optional<ByteBuffer> JWK::jsonData() const {
    try {
        return JSONSerialization::data(toJSONObject(parameters()));
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

std::optional<std::string> JWK::jsonString() const {
    const auto data = jsonData();
    return data ? std::optional<std::string>(asText(*data)) : std::nullopt;
}

RSAPublicKey::RSAPublicKey(const SecKey& publicKey, StringMap additionalParameters)
    : JWK(makeRSAParameters(publicKey, dropPrivateMembers(std::move(additionalParameters))), publicKey) {}

ECPublicKey::ECPublicKey(const SecKey& publicKey, StringMap additionalParameters)
    : JWK(makeECParameters(publicKey, dropPrivateMembers(std::move(additionalParameters))), publicKey) {}

}  // namespace Torvane::JOSE
