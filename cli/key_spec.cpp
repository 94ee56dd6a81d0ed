#include "cli/key_spec.hpp"

#include <utility>

#include "cli/exit_code.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_opening.hpp"
#include "cli/secrets.hpp"

namespace Command {

using namespace Torvane;
using Zennet::KeyClass;

std::size_t measureKeyPurpose(std::string_view text) {
    const auto equals = text.find('=');
    if (equals == text.npos) return 0;
    const auto use = text.substr(0, text.find_first_of("/:="));
    return fromRawValue<JWKUse>(use) ? equals + 1 : 0;
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
    if (Zennet::Secp256k1Utils::isSecp256k1Key(key) && !key.isPublicKey()) {
        return {key, use, std::move(id), key.publicKey()};
    }
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

}  // namespace Command
