#include "cli/keys.hpp"

#include <algorithm>
#include <utility>

#include "cli/advice.hpp"
#include "cli/exit_code.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

bool isSecp256k1(const Zennet::Key& key) noexcept {
    return Zennet::Secp256k1Utils::isSecp256k1Key(key);
}

char toLowerASCII(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

template <class Algorithm>
std::vector<std::string_view> listNamesOf() {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        names.push_back(JOSE::rawValue(static_cast<Algorithm>(i)));
    }
    return names;
}

template <class Algorithm>
std::vector<std::string> listFitting(const SecKey& key) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        const auto algorithm = static_cast<Algorithm>(i);
        if (JOSE::fits(algorithm, key)) names.emplace_back(JOSE::rawValue(algorithm));
    }
    return names;
}

JsonWebKey readKey(const JSONValue::Object& members) {
    const auto* curve = stringMember(members, "crv");
    if (curve != nullptr && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE) {
        return JsonWebKeySet(JSONValue::Object{{"keys", JSONValue::List::of(members)}}).jwks.front();
    }
    return JsonWebKey(JOSE::JWK::initFrom(members));
}

}  // namespace

std::size_t measureKeyPurpose(std::string_view text) {
    const auto equals = text.find('=');
    if (equals == text.npos) return 0;
    const auto use = text.substr(0, text.find_first_of("/:="));
    return fromRawValue<JWKUse>(use) ? equals + 1 : 0;
}

std::string spellAlgorithm(const std::string& name) {
    std::string found = name;
    const auto search = [&](auto algorithm) {
        for (const auto known : listNamesOf<decltype(algorithm)>()) {
            if (std::ranges::equal(known, name, {}, toLowerASCII, toLowerASCII)) found = known;
        }
    };
    search(JOSE::SignatureAlgorithm{});
    search(JOSE::KeyManagementAlgorithm{});
    search(JOSE::ContentEncryptionAlgorithm{});
    return found;
}

KeySpec parseKeySpec(const std::string& text) {
    const auto equals = text.find('=');
    const auto name = text.substr(0, equals);
    const auto reject = [&name](const std::string& why) {
        throw Failure(ExitCode::usage, "The key \"" + name + "\" is not of the form USE[/ALG][:KID]=URI: " + why);
    };
    const bool isURI = equals == text.npos || isPkcs11URI(text);
    if (isURI && !fromRawValue<JWKUse>(name.substr(0, name.find_first_of("/:")))) {
        const std::string uri(cutPin(text));
        reject("the use is missing, as in sig=" + uri + " or enc=" + uri + '.');
    }
    if (equals == text.npos || equals + 1 == text.size()) reject("the URI is missing.");
    const auto colon = name.find(':');
    const auto purpose = name.substr(0, colon);
    const auto slash = purpose.find('/');
    const auto use = fromRawValue<JWKUse>(purpose.substr(0, slash));
    if (!use) reject("the use must be sig, enc or sig_enc.");
    KeySpec spec{name, *use, std::nullopt, std::nullopt, text.substr(equals + 1)};
    if (slash != purpose.npos) spec.algorithm = spellAlgorithm(purpose.substr(slash + 1));
    if (spec.algorithm && !isAlgorithm(*spec.algorithm)) reject("the algorithm is unknown.");
    if (colon != name.npos) spec.keyId = name.substr(colon + 1);
    if (spec.keyId && (spec.keyId->empty() || !Zennet::isUTF8(asBytes(*spec.keyId)))) reject("the key id is not text.");
    const auto last = spec.keyId ? spec.keyId->rfind('/') : std::string::npos;
    if (last != std::string::npos && isAlgorithm(spec.keyId->substr(last + 1))) {
        reject("the algorithm comes before the id.");
    }
    return spec;
}

JsonWebKey makeJsonWebKey(const Zennet::Key& key, JWKUse use, const std::optional<std::string>& keyId) {
    auto id = keyId ? *keyId : JsonWebKey(key, use, {}).thumbprint();
    if (isSecp256k1(key) && !key.isPublicKey()) return {key, use, std::move(id), key.publicKey()};
    return {key, use, std::move(id)};
}

JsonWebKeySet openOwnKeys(const std::vector<std::string>& specs, const SecretOptions& secret) {
    const auto askForSecret = makeSecretSource(secret.file);
    JsonWebKeySet keys(std::vector<JsonWebKey>{});
    for (const auto& text : specs) {
        const auto spec = parseKeySpec(text);
        if (spec.algorithm) throw Failure(ExitCode::usage, "The key \"" + spec.name + "\" must not name an algorithm.");
        const auto key = openKeyFrom(spec.uri, KeyClass::privateKey, askForSecret, secret.lastPinTry());
        for (const auto use : {JWKUse::JWK_SIG, JWKUse::JWK_ENC}) {
            if (spec.use == use || spec.use == JWKUse::JWK_SIG_ENC) {
                keys.jwks.push_back(makeJsonWebKey(key, use, spec.keyId));
            }
        }
    }
    return keys;
}

SetEntry readSetEntry(const JSONValue& element) {
    SetEntry entry;
    entry.content = element;
    try {
        const auto* members = element.as<JSONValue::Object>();
        if (members == nullptr) throw JOSE::JOSESwiftError::parsingFailed("The JWK is not a JSON object.");
        entry.members = *members;
        const auto key = readKey(*members);
        entry.thumbprint = key.thumbprint();
        const bool hasId = stringMember(*members, "kid") != nullptr;
        entry.key = hasId ? key : JsonWebKey(key.key(), key.use(), entry.thumbprint);
    } catch (const Error&) {
        entry.error = std::current_exception();
    }
    return entry;
}

std::vector<SetEntry> readSetEntries(ByteView text) {
    JSONValue json;
    try {
        json = JSONSerialization::jsonObject(text);
    } catch (const JSONError& error) {
        throw Failure(ExitCode::key, "The key set cannot be read. " + error.errorDescription());
    }
    const auto* object = json.as<JSONValue::Object>();
    const auto keys = object == nullptr ? JSONValue::Object::const_iterator() : object->find("keys");
    const auto* list = object == nullptr || keys == object->end() ? nullptr : keys->second.as<JSONValue::List>();
    if (list == nullptr && (object == nullptr || !object->contains("kty"))) {
        throw Failure(ExitCode::key, "The input is neither a JWK Set nor a JWK.");
    }
    std::vector<SetEntry> entries;
    for (const auto& element : list != nullptr ? *list : JSONValue::List::of(json)) {
        entries.push_back(readSetEntry(element));
    }
    return entries;
}

std::string describeKind(const Zennet::Key& key) {
    if (isSecp256k1(key)) return std::string(Zennet::Secp256k1Utils::SECP256K1CURVE);
    const auto& components = key.keyRef().value().publicComponents();
    if (const auto* rsa = std::get_if<RSAPublicComponents>(&components)) {
        return "RSA " + std::to_string(countBits(rsa->modulus));
    }
    switch (std::get<ECPublicComponents>(components).curve) {
        case EllipticCurve::P256: return "P-256";
        case EllipticCurve::P384: return "P-384";
        case EllipticCurve::P521: return "P-521";
    }
    return {};
}

std::vector<std::string> listAlgorithms(const Zennet::Key& key, JWKUse use) {
    if (isSecp256k1(key)) {
        if (use == JWKUse::JWK_ENC) return {};
        return {std::string(JOSE::rawValue(JOSE::SignatureAlgorithm::ES256K))};
    }
    std::vector<std::string> names;
    if (use != JWKUse::JWK_ENC) names = listFitting<JOSE::SignatureAlgorithm>(key.keyRef().value());
    if (use != JWKUse::JWK_SIG) {
        for (auto& name : listFitting<JOSE::KeyManagementAlgorithm>(key.keyRef().value())) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

bool isAlgorithm(std::string_view name) noexcept {
    return JOSE::fromRawValue<JOSE::SignatureAlgorithm>(name) || JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(name);
}

}  // namespace Command
