#include <algorithm>
#include <iostream>
#include <iterator>
#include <torvane/platform/core/clock.hpp>

#include "cli/advice.hpp"
#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"
#include "cli/token_input.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

struct Keys {
    JsonWebKeySet own;
    // If given, the token must verify with one of them.
    std::optional<std::vector<JsonWebKey>> peer;
    std::string peerName;

    bool areGiven() const noexcept { return peer || !own.jwks.empty(); }
};

// One token of a nested token, and how far it was opened.
struct Layer {
    TokenView view;
    // Id of the key that decrypted or verified the token.
    std::optional<std::string> key{};
    std::optional<PayloadView> payload{};

    std::string state() const {
        if (!key) return view.isEncrypted ? "not decrypted" : "not verified";
        return (view.isEncrypted ? "decrypted with your key \"" : "verified with the peer's key \"") +
               makePrintable(*key) + '"';
    }
};

// The layers that could be read, outermost first, and the error that ended the inspection.
struct Inspection {
    std::vector<Layer> layers{};
    std::exception_ptr failure{};

    // Anybody can encrypt to a public key: only a signature shows who wrote the token.
    bool hasSignature() const {
        return std::ranges::any_of(layers, [](const auto& layer) { return !layer.view.isEncrypted && layer.key; });
    }
    bool isVerified() const {
        return !failure && hasSignature() &&
               std::ranges::all_of(layers, [](const auto& layer) { return layer.key.has_value(); });
    }
};

bool isFor(const TokenView& view, const JsonWebKey& key) noexcept {
    return view.isEncrypted ? key.use() != JWKUse::JWK_SIG && key.key().keyRef() : key.use() != JWKUse::JWK_ENC;
}

// What is wrong when none of the keys opens the token, and what to do.
[[noreturn]] void explain(const TokenView& view, const std::vector<JsonWebKey>& all,
                          const std::vector<JsonWebKey>& candidates, const std::string& set,
                          const std::exception_ptr& lastError) {
    const auto keyId = view.readHeaderMember("kid");
    const auto hasId = [&](const JsonWebKey& key) { return key.keyId() == keyId; };
    const bool isKnown = std::ranges::any_of(candidates, hasId);
    const auto give = "Give your private key: --own enc:" + (keyId.empty() ? "KID" : keyId) + "=URI.";
    if (!view.isEncrypted && !keyId.empty() && !isKnown) {
        throw Failure(ExitCode::key, explainMissingKey(set, all, keyId, JWKUse::JWK_SIG),
                      "Ask the peer for a set with the key of this token.");
    }
    if (candidates.empty()) {
        throw Failure(ExitCode::key,
                      std::string("No key was given to ") + (view.isEncrypted ? "decrypt" : "verify") + " the token.",
                      view.isEncrypted ? give : "No key in " + set + " is for signatures.");
    }
    if (view.isEncrypted && !keyId.empty() && !isKnown) {
        const auto gave = candidates.size() == 1 ? inQuotes(candidates[0].keyId()) : listNames(listIds(candidates));
        throw Failure(ExitCode::key, "The token is for " + inQuotes(keyId) + "; you gave " + gave + '.', give);
    }
    const auto& last = candidates.back();
    const auto why = explainMisfit(last.key(), view.readHeaderMember("alg"));
    throw addHint(lastError, why                ? "The key " + inQuotes(last.keyId()) + ' ' + *why + '.'
                             : view.isEncrypted ? "The token was changed, or was encrypted for another key."
                                                : "The token was changed, or was signed with another key.");
}

// Tries the keys that have the token's key id, or all keys if none has it. Returns the id of the key that opens it.
template <class Open>
std::string openWith(const std::vector<JsonWebKey>& keys, const TokenView& view, const std::string& set, Open open) {
    std::vector<JsonWebKey> candidates;
    std::ranges::copy_if(keys, std::back_inserter(candidates), [&](const auto& key) { return isFor(view, key); });
    const auto hasId = [&](const JsonWebKey& key) { return key.keyId() == view.readHeaderMember("kid"); };
    if (std::ranges::any_of(candidates, hasId)) std::erase_if(candidates, [&](const auto& key) { return !hasId(key); });
    std::exception_ptr lastError;
    for (const auto& key : candidates) {
        try {
            open(key);
            return key.keyId();
        } catch (const Error&) {
            lastError = std::current_exception();
        }
    }
    explain(view, keys, candidates, set, lastError);
}

ByteBuffer decryptLayer(Layer& layer, std::string_view token, const Keys& keys) {
    ByteBuffer plaintext;
    layer.key = openWith(keys.own.jwks, layer.view, {}, [&](const JsonWebKey& key) {
        const JWEDecrypter decrypter(layer.view.readHeaderMember("alg"), layer.view.readHeaderMember("enc"),
                                     key.key().keyRef().value());
        plaintext = decrypter.decryptJWE(token);
    });
    return plaintext;
}

void verifyLayer(Layer& layer, std::string_view token, const Keys& keys) {
    const auto algorithm = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(layer.view.readHeaderMember("alg"));
    layer.key = openWith(*keys.peer, layer.view, keys.peerName, [&](const JsonWebKey& key) {
        static_cast<void>(JWSVerifier(algorithm.value(), key).verifyJWS(token));
    });
}

void requireKnownAlgorithms(const TokenView& view) {
    const auto algorithm = view.readHeaderMember("alg");
    const bool isKnown = view.isEncrypted
                             ? JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(algorithm) &&
                                   JOSE::fromRawValue<JOSE::ContentEncryptionAlgorithm>(view.readHeaderMember("enc"))
                             : JOSE::fromRawValue<JOSE::SignatureAlgorithm>(algorithm).has_value();
    if (isKnown) return;
    throw Failure(ExitCode::token, std::string("The token cannot be ") + (view.isEncrypted ? "decrypted" : "verified") +
                                       ": its algorithm is unknown.");
}

// The payload of a JWS, verified if there are keys of the peer; the plaintext of a JWE, empty if there are no keys.
ByteBuffer open(Layer& layer, std::string_view token, const Keys& keys) {
    if (layer.view.isMalformed) throw Failure(ExitCode::token, "The token is malformed.");
    const bool isToBeOpened = layer.view.isEncrypted ? keys.areGiven() : keys.peer.has_value();
    if (isToBeOpened) requireKnownAlgorithms(layer.view);
    if (layer.view.isEncrypted) return isToBeOpened ? decryptLayer(layer, token, keys) : ByteBuffer();
    if (isToBeOpened) verifyLayer(layer, token, keys);
    return *layer.view.payload();
}

// Limits the recursion on hostile input.
constexpr std::size_t maximumLayers = 8;

void inspectLayers(Inspection& inspection, std::string_view token, const Keys& keys) {
    if (inspection.layers.size() == maximumLayers) {
        throw Failure(ExitCode::token,
                      "More than " + formatCount(maximumLayers, "token") + " are nested in each other.");
    }
    auto& layer = inspection.layers.emplace_back(Layer{parseToken(token)});
    if (const auto* payload = layer.view.payload()) layer.payload = parsePayload(*payload);
    const auto inner = open(layer, token, keys);
    if (layer.view.isEncrypted && layer.key) layer.payload = parsePayload(inner);
    if (!looksLikeToken(inner)) return;
    layer.payload.reset();
    inspectLayers(inspection, asText(inner), keys);
}

JSONValue::Object asJSON(const Layer& layer, double now) {
    const auto& view = layer.view;
    JSONValue::List parts;
    for (const auto& part : view.parts) {
        JSONValue::Object row{{"name", part.name}};
        if (part.bytes) row["bytes"] = static_cast<std::int64_t>(part.bytes->size());
        parts.emplace_back(std::move(row));
    }
    JSONValue::Object object{{"kind", view.isEncrypted ? "JWE" : "JWS"},
                             {"length", static_cast<std::int64_t>(view.length)},
                             {"state", layer.state()},
                             {"parts", std::move(parts)}};
    if (view.header) object["header"] = *view.header;
    if (layer.key) object["key"] = *layer.key;
    auto warnings = view.warnings;
    if (const auto& payload = layer.payload) {
        if (payload->text) object["payload"] = *payload->text;
        if (payload->claims) {
            object["claims"] = *payload->claims;
            std::ranges::copy(findTimeWarnings(*payload->claims, now), std::back_inserter(warnings));
        }
    }
    object["warnings"] = warnings;
    return object;
}

void print(const Layer& layer, double now, const Palette& palette) {
    const auto& view = layer.view;
    std::cout << palette.heading << (view.isEncrypted ? "JWE" : "JWS") << palette.off << ", "
              << formatCount(view.length, "character") << ", " << (layer.key ? palette.good : palette.warning)
              << layer.state() << palette.off << "\n\n";
    std::vector<std::pair<std::string, std::string>> rows;
    for (const auto& part : view.parts) {
        rows.emplace_back(part.name, part.bytes ? formatCount(part.bytes->size(), "byte") : "?");
    }
    std::cout << formatNames(rows, palette) << '\n';
    if (view.header) std::cout << "header " << formatJSON(*view.header, palette) << '\n';
    auto warnings = view.warnings;
    if (const auto& payload = layer.payload) {
        if (payload->claims) {
            std::cout << "claims " << formatJSON(*payload->claims, palette, [now](const auto& name, const auto& value) {
                return describeTime(name, value, now);
            }) << '\n';
            std::ranges::copy(findTimeWarnings(*payload->claims, now), std::back_inserter(warnings));
        } else if (payload->text) {
            std::cout << "payload " << makePrintable(*payload->text) << '\n';
        } else {
            std::cout << "payload of " << formatCount(payload->size, "byte") << ", not text\n";
        }
    }
    for (const auto& warning : warnings) {
        std::cout << palette.warning << "warning: " << warning << palette.off << '\n';
    }
}

void printJSON(const Inspection& inspection, double now) {
    JSONValue::List layers;
    for (const auto& layer : inspection.layers) layers.emplace_back(asJSON(layer, now));
    JSONValue::Object document{{"layers", std::move(layers)}, {"verified", inspection.isVerified()}};
    if (inspection.failure) document["error"] = describeError(inspection.failure);
    if (auto hint = findHint(inspection.failure); !hint.empty()) document["hint"] = std::move(hint);
    std::cout << formatJSON(document) << '\n';
}

void print(const Inspection& inspection, double now) {
    const auto palette = choosePalette();
    for (bool isOuter = true; const auto& layer : inspection.layers) {
        if (!isOuter) std::cout << "\ninside it, a ";
        print(layer, now, palette);
        isOuter = false;
    }
    if (!inspection.isVerified()) {
        std::cout << '\n'
                  << palette.warning
                  << (inspection.hasSignature() ? "Not all of it was verified: anybody may have written the rest."
                                                : "Nothing was verified: anybody may have written this.")
                  << palette.off << '\n';
    }
}

}  // namespace

void inspect(const InspectOptions& options) {
    Keys keys{openOwnKeys(options.own, options.secret), std::nullopt, nameInput(options.peer)};
    if (!options.peer.empty()) {
        keys.peer.emplace();
        for (const auto& entry : readSetEntries(readSetText(options.peer))) {
            if (entry.key) keys.peer->push_back(*entry.key);
        }
    }
    const auto input = readTokenOrArgument(options.input);
    const auto token = findToken(asText(input));
    Inspection inspection;
    try {
        inspectLayers(inspection, token, keys);
        if (keys.peer && !inspection.isVerified()) throw Failure(ExitCode::signature, "The token has no signature.");
    } catch (...) {
        inspection.failure = std::current_exception();
    }
    const auto now = Torvane::secondsSince1970();
    if (inspection.layers.empty()) std::rethrow_exception(inspection.failure);
    options.asJSON ? printJSON(inspection, now) : print(inspection, now);
    if (inspection.failure) std::rethrow_exception(inspection.failure);
}

}  // namespace Command
