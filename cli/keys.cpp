#include "cli/keys.hpp"

#include <bit>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

bool isSecp256k1(const Zennet::Key& key) noexcept {
    return Zennet::Secp256k1Utils::isSecp256k1Key(key);
}

std::size_t bitsOf(const ByteBuffer& number) noexcept {
    return number.empty() ? 0 : (number.size() - 1) * 8 + static_cast<std::size_t>(std::bit_width(number.front()));
}

template <class Algorithm>
std::vector<std::string> fitting(const Platform::SecKey& key) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        const auto algorithm = static_cast<Algorithm>(i);
        if (JOSE::fits(algorithm, key)) names.emplace_back(JOSE::rawValue(algorithm));
    }
    return names;
}

JsonWebKey keyOf(const JSONValue::Object& members) {
    const auto* curve = Platform::stringMember(members, "crv");
    if (curve != nullptr && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE) {
        return JsonWebKeySet(JSONValue::Object{{"keys", JSONValue::List{members}}}).jwks.front();
    }
    return JsonWebKey(JOSE::JWK::initFrom(members));
}

SetEntry entryOf(const JSONValue& element) {
    SetEntry entry;
    const auto* members = element.as<JSONValue::Object>();
    if (members != nullptr) entry.members = *members;
    try {
        if (members == nullptr) throw JOSE::JOSESwiftError::parsingFailed("The JWK is not a JSON object.");
        entry.key = keyOf(*members);
    } catch (const Platform::Error&) {
        entry.refusal = std::current_exception();
    }
    return entry;
}

}  // namespace

KeySpec keySpecFrom(const std::string& text) {
    const auto refuse = [&text](const std::string& why) {
        throw Failure(ExitCode::usage, "\"" + text + "\" is not a key in the form USE[/ALG][:KID]=URI: " + why);
    };
    const auto equals = text.find('=');
    if (equals == text.npos || equals + 1 == text.size()) refuse("there is no URI.");
    const auto name = text.substr(0, equals);
    const auto colon = name.find(':');
    const auto purpose = name.substr(0, colon);
    const auto slash = purpose.find('/');
    const auto use = fromRawValue<JWKUse>(purpose.substr(0, slash));
    if (!use) refuse("the use is none of sig, enc and sig_enc.");
    KeySpec spec{*use, std::nullopt, std::nullopt, text.substr(equals + 1)};
    if (slash != purpose.npos) spec.algorithm = purpose.substr(slash + 1);
    if (colon != name.npos) spec.keyId = name.substr(colon + 1);
    return spec;
}

JsonWebKey asJsonWebKey(const Zennet::Key& key, const KeySpec& spec) {
    auto keyId = spec.keyId ? *spec.keyId : JsonWebKey(key, spec.use, {}).thumbprint();
    if (isSecp256k1(key) && !key.isPublicKey()) return {key, spec.use, std::move(keyId), key.publicKey()};
    return {key, spec.use, std::move(keyId)};
}

JsonWebKeySet ownKeys(const std::vector<std::string>& specs, const Platform::SecretSource& secret) {
    JsonWebKeySet keys(std::vector<JsonWebKey>{});
    for (const auto& text : specs) {
        const auto spec = keySpecFrom(text);
        if (spec.algorithm) throw Failure(ExitCode::usage, "A key of one's own is given without an algorithm.");
        keys.jwks.push_back(asJsonWebKey(Zennet::openKey(spec.uri, KeyClass::privateKey, secret), spec));
    }
    return keys;
}

JsonWebKeySet keySetOf(const std::string& file) {
    return JsonWebKeySet(readInput(file));
}

std::vector<SetEntry> entriesOf(const std::string& file) {
    JSONValue json;
    try {
        json = Platform::JSONSerialization::jsonObject(readInput(file));
    } catch (const Platform::JSONError& error) {
        throw Failure(ExitCode::key, "The key set cannot be read. " + error.errorDescription());
    }
    const auto* object = json.as<JSONValue::Object>();
    const auto keys = object == nullptr ? JSONValue::Object::const_iterator() : object->find("keys");
    const auto* list = object == nullptr || keys == object->end() ? nullptr : keys->second.as<JSONValue::List>();
    if (list == nullptr && (object == nullptr || !object->contains("kty"))) {
        throw Failure(ExitCode::key, "The input is neither a JWK Set nor a JWK.");
    }
    std::vector<SetEntry> entries;
    for (const auto& element : list != nullptr ? *list : JSONValue::List{json}) entries.push_back(entryOf(element));
    return entries;
}

std::string kindOf(const Zennet::Key& key) {
    if (isSecp256k1(key)) return std::string(Zennet::Secp256k1Utils::SECP256K1CURVE);
    const auto& numbers = key.keyRef().value().publicComponents();
    if (const auto* rsa = std::get_if<Platform::RSAPublicComponents>(&numbers)) {
        return "RSA " + std::to_string(bitsOf(rsa->modulus));
    }
    switch (std::get<Platform::ECPublicComponents>(numbers).curve) {
        case Platform::EllipticCurve::P256: return "P-256";
        case Platform::EllipticCurve::P384: return "P-384";
        case Platform::EllipticCurve::P521: return "P-521";
    }
    return {};
}

std::vector<std::string> signatureAlgorithmsOf(const Zennet::Key& key) {
    if (isSecp256k1(key)) return {std::string(JOSE::rawValue(JOSE::SignatureAlgorithm::ES256K))};
    return fitting<JOSE::SignatureAlgorithm>(key.keyRef().value());
}

std::vector<std::string> keyManagementAlgorithmsOf(const Zennet::Key& key) {
    if (isSecp256k1(key)) return {};
    return fitting<JOSE::KeyManagementAlgorithm>(key.keyRef().value());
}

std::vector<std::string> algorithmsOf(const JsonWebKey& key) {
    std::vector<std::string> names;
    if (key.use() != JWKUse::JWK_ENC) names = signatureAlgorithmsOf(key.key());
    if (key.use() != JWKUse::JWK_SIG) {
        for (auto& name : keyManagementAlgorithmsOf(key.key())) names.push_back(std::move(name));
    }
    return names;
}

}  // namespace Command
