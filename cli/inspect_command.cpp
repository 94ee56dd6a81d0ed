#include <algorithm>
#include <iostream>
#include <iterator>
#include <torvane/platform/services/clock.hpp>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

struct Keys {
    JsonWebKeySet own;
    std::vector<JsonWebKey> peer;
};

// One token, and what was done with it.
struct Layer {
    TokenView view;
    bool isOpened = false;
    std::string state;
    std::optional<PayloadView> payload;
};

bool isFor(const TokenView& view, const JsonWebKey& key) noexcept {
    return view.isEncrypted ? key.use() != JWKUse::JWK_SIG && key.key().keyRef() : key.use() != JWKUse::JWK_ENC;
}

// Tries the keys with the token's key id, or all where none has it, until one opens it.
template <class Open>
std::string openWith(const std::vector<JsonWebKey>& keys, const TokenView& view, Open open) {
    std::vector<JsonWebKey> candidates;
    std::ranges::copy_if(keys, std::back_inserter(candidates), [&](const auto& key) { return isFor(view, key); });
    const auto hasId = [&](const JsonWebKey& key) { return key.keyId() == view.headerMember("kid"); };
    if (std::ranges::any_of(candidates, hasId)) std::erase_if(candidates, [&](const auto& key) { return !hasId(key); });
    std::exception_ptr lastError;
    for (const auto& key : candidates) {
        try {
            open(key);
            return key.keyId();
        } catch (const Platform::Error&) {
            lastError = std::current_exception();
        }
    }
    if (lastError) std::rethrow_exception(lastError);
    throw Failure(ExitCode::key,
                  std::string("No key was given to ") + (view.isEncrypted ? "decrypt" : "verify") + " the token with.");
}

ByteBuffer decrypted(Layer& layer, std::string_view token, const Keys& keys) {
    ByteBuffer plaintext;
    const auto used = openWith(keys.own.jwks, layer.view, [&](const JsonWebKey& key) {
        const JWEDecrypter decrypter(layer.view.headerMember("alg"), layer.view.headerMember("enc"),
                                     key.key().keyRef().value());
        plaintext = decrypter.decryptJWE(token);
    });
    layer.state = "decrypted with your key \"" + printable(used) + '"';
    layer.isOpened = true;
    return plaintext;
}

void verify(Layer& layer, std::string_view token, const Keys& keys) {
    const auto algorithm = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(layer.view.headerMember("alg"));
    const auto used = openWith(keys.peer, layer.view,
                               [&](const JsonWebKey& key) { JWSVerifier(algorithm.value(), key).verifyJWS(token); });
    layer.state = "verified with the peer's key \"" + printable(used) + '"';
    layer.isOpened = true;
}

void requireKnownAlgorithms(const TokenView& view) {
    const auto algorithm = view.headerMember("alg");
    const bool isKnown = view.isEncrypted
                             ? JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(algorithm) &&
                                   JOSE::fromRawValue<JOSE::ContentEncryptionAlgorithm>(view.headerMember("enc"))
                             : JOSE::fromRawValue<JOSE::SignatureAlgorithm>(algorithm).has_value();
    if (!isKnown) throw Failure(ExitCode::token, "The token cannot be opened: its algorithms are not known.");
}

// The layers that could be seen, from the outside in, and why there are no more.
struct Inspection {
    std::vector<Layer> layers;
    std::exception_ptr failure;

    // Anybody can encrypt to a public key: only a signature says from whom a token is.
    bool isVerified() const {
        return !failure && std::ranges::all_of(layers, &Layer::isOpened) &&
               std::ranges::any_of(layers, [](const auto& layer) { return !layer.view.isEncrypted; });
    }
};

// Tokens in tokens end somewhere.
constexpr std::size_t mostLayers = 8;

void inspectLayers(Inspection& inspection, std::string_view token, const Keys& keys) {
    auto& layer = inspection.layers.emplace_back(Layer{viewOfToken(token), false, {}, {}});
    layer.state = layer.view.isEncrypted ? "not decrypted" : "not verified";
    ByteBuffer inner;
    if (const auto* payload = layer.view.payload()) {
        inner = *payload;
        layer.payload = viewOfPayload(inner);
    }
    if (!layer.view.isEncrypted && !keys.peer.empty()) {
        requireKnownAlgorithms(layer.view);
        verify(layer, token, keys);
    }
    if (layer.view.isEncrypted && !keys.own.jwks.empty()) {
        requireKnownAlgorithms(layer.view);
        inner = decrypted(layer, token, keys);
        layer.payload = viewOfPayload(inner);
    }
    if (looksLikeToken(inner) && inspection.layers.size() < mostLayers) {
        layer.payload.reset();
        inspectLayers(inspection, Platform::asText(inner), keys);
    }
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
                             {"opened", layer.isOpened},
                             {"state", layer.state},
                             {"parts", std::move(parts)}};
    if (view.header) object["header"] = *view.header;
    auto warnings = view.warnings;
    if (const auto& payload = layer.payload) {
        if (payload->text) object["payload"] = *payload->text;
        if (payload->claims) {
            object["claims"] = *payload->claims;
            std::ranges::copy(warningsOf(*payload->claims, now), std::back_inserter(warnings));
        }
    }
    object["warnings"] = warnings;
    return object;
}

void print(const Layer& layer, double now, const Palette& palette) {
    const auto& view = layer.view;
    std::cout << palette.heading << (view.isEncrypted ? "JWE" : "JWS") << palette.off << ", "
              << counted(view.length, "character") << ", " << (layer.isOpened ? palette.good : palette.warning)
              << layer.state << palette.off << "\n\n";
    std::vector<std::pair<std::string, std::string>> rows;
    for (const auto& part : view.parts) {
        rows.emplace_back(part.name, part.bytes ? counted(part.bytes->size(), "byte") : "?");
    }
    std::cout << nameList(rows, palette) << '\n';
    if (view.header) std::cout << "header " << indentedJSON(*view.header, palette) << '\n';
    auto warnings = view.warnings;
    if (const auto& payload = layer.payload) {
        if (payload->claims) {
            std::cout << "claims "
                      << indentedJSON(
                             *payload->claims, palette,
                             [now](const auto& name, const auto& value) { return timeOfClaim(name, value, now); })
                      << '\n';
            std::ranges::copy(warningsOf(*payload->claims, now), std::back_inserter(warnings));
        } else if (payload->text) {
            std::cout << "payload " << printable(*payload->text) << '\n';
        } else {
            std::cout << "payload of " << counted(payload->size, "byte") << " that are no text\n";
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
    if (inspection.failure) document["error"] = Platform::localizedDescription(inspection.failure);
    std::cout << indentedJSON(document) << '\n';
}

void print(const Inspection& inspection, double now) {
    const auto palette = paletteOfOutput();
    for (bool isOuter = true; const auto& layer : inspection.layers) {
        if (!isOuter) std::cout << "\ninside it, a ";
        print(layer, now, palette);
        isOuter = false;
    }
    if (!inspection.isVerified()) {
        std::cout << '\n'
                  << palette.warning << "Nothing was verified: this is what somebody claims." << palette.off << '\n';
    }
}

}  // namespace

void inspect(const InspectOptions& options) {
    Keys keys{ownKeys(options.own, secretSource(options.secretFile)), {}};
    if (!options.peer.empty()) {
        for (const auto& entry : entriesOf(options.peer)) {
            if (entry.key) keys.peer.push_back(*entry.key);
        }
    }
    const auto input = readInput(options.input);
    Inspection inspection;
    try {
        inspectLayers(inspection, trimmed(Platform::asText(input)), keys);
    } catch (...) {
        inspection.failure = std::current_exception();
    }
    const auto now = Platform::secondsSince1970();
    if (inspection.layers.empty()) std::rethrow_exception(inspection.failure);
    options.asJSON ? printJSON(inspection, now) : print(inspection, now);
    std::cout.flush();
    if (inspection.failure) std::rethrow_exception(inspection.failure);
}

}  // namespace Command
