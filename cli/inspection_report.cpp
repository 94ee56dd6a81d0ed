#include <algorithm>
#include <iostream>
#include <iterator>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/header_view.hpp"
#include "cli/inspection.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/terminal.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

std::string stateWithKey(const Layer& layer) {
    return layer.state() + (layer.key ? ' ' + inQuotes(makePrintable(layer.key->tokenKeyId())) : "");
}

// The kind of the key that opened a layer, and the algorithm; the thumbprint of a key without an id.
std::string describeLayerKey(const Layer& layer) {
    const auto& key = *layer.key;
    return '(' + describeKind(key.key) + ", " + layer.view.readHeaderMember("alg") +
           (key.keyId ? "" : ", thumbprint " + key.thumbprint()) + ')';
}

// What a layer is and what was done with it, in lines of at most 80 columns where the key's id permits it.
void printHeading(const Layer& layer, bool isOuter, const Palette& palette) {
    constexpr std::size_t columns = 80;
    const std::string kind = layer.view.isEncrypted ? "JWE" : "JWS", before = isOuter ? "" : "inside it, a ";
    const auto length = ", " + formatCount(layer.view.length, "character") + ',';
    std::cout << before << palette.heading << kind << palette.off << length;
    auto column = before.size() + kind.size() + length.size();
    const auto add = [&](const std::string& text, std::string_view colour) {
        const auto width = measureWidth(text);
        const bool fits = column + 1 + width <= columns;
        std::cout << (fits ? ' ' : '\n') << colour << text << palette.off;
        column = (fits ? column + 1 : 0) + width;
    };
    const bool isNamed = layer.key && layer.key->keyId;
    add(isNamed ? stateWithKey(layer) : layer.state(), layer.key ? palette.good : palette.warning);
    if (layer.key) add(describeLayerKey(layer), {});
    std::cout << "\n\n";
}

// The warnings of the header, and those about times, except for what a policy says of one claim.
std::vector<std::string> listWarnings(const Layer& layer, double now, std::string_view ruledClaim = {}) {
    auto warnings = layer.view.warnings;
    if (layer.view.header) {
        std::ranges::copy(findCertificateWarnings(*layer.view.header, now), std::back_inserter(warnings));
    }
    if (!layer.payload || !layer.payload->claims) return warnings;
    for (auto& warning : findTimeWarnings(*layer.payload->claims, now)) {
        if (!warning.isRule || warning.claim != ruledClaim) warnings.push_back(std::move(warning.text));
    }
    return warnings;
}

JSONValue::Object policyAsJSON(const PolicyVerdict& verdict, const Inspection& inspection, bool isGiven) {
    JSONValue::Object object{{"given", isGiven},
                             {"accepted", !verdict.rejection},
                             {"signatureVerified", inspection.findClaimsSignature() == ClaimsSignature::verified}};
    if (!verdict.rejection) {
        object["checked"] = verdict.checked;
        return object;
    }
    object["case"] = verdict.errorCase;
    object["error"] = verdict.rejection->what();
    if (!verdict.claim.empty()) object["claim"] = verdict.claim;
    return object;
}

JSONValue::Object layerAsJSON(const Layer& layer, double now) {
    const auto& view = layer.view;
    JSONValue::List parts;
    for (const auto& part : view.parts) {
        JSONValue::Object row{{"name", part.name}};
        if (part.bytes) row["bytes"] = static_cast<std::int64_t>(part.bytes->size());
        parts.emplace_back(std::move(row));
    }
    JSONValue::Object object{{"kind", view.isEncrypted ? "JWE" : "JWS"},
                             {"length", static_cast<std::int64_t>(view.length)},
                             {"state", stateWithKey(layer)},
                             {"parts", std::move(parts)},
                             {"warnings", listWarnings(layer, now)}};
    if (view.header) object["header"] = *view.header;
    if (layer.key) {
        object["key"] = layer.key->tokenKeyId();
        object["keyKind"] = describeKind(layer.key->key);
        object["thumbprint"] = layer.key->thumbprint();
    }
    if (const auto& payload = layer.payload) {
        if (payload->claims) object["claims"] = *payload->claims;
        if (payload->text) object["payload"] = *payload->text;
        if (payload->bytes) object["payloadBase64url"] = encodeBase64url(*payload->bytes);
    }
    return object;
}

void printPolicy(const PolicyVerdict& verdict, const Inspection& inspection, bool isGiven, const Palette& palette) {
    const auto signature = inspection.findClaimsSignature();
    const bool isVerified = signature == ClaimsSignature::verified;
    std::cout << (isGiven ? "policy: " : "default policy: ");
    if (verdict.rejection) {
        std::cout << palette.warning << (isGiven ? "rejects" : "would reject") << " the claims. "
                  << makePrintable(verdict.rejection->what()) << palette.off << '\n';
        return;
    }
    std::cout << (isGiven && isVerified ? "accepts the claims" : "would accept the claims")
              << (isVerified                                 ? ""
                  : signature == ClaimsSignature::unverified ? " if the signature verified"
                                                             : ", but they are not signed");
    std::string checked;
    for (const auto& name : verdict.checked) checked += (checked.empty() ? "" : ", ") + makePrintable(name);
    std::cout << (checked.empty() ? "; nothing to check" : "; checked: " + checked) << '\n';
}

void printPayload(const PayloadView& payload, double now, const Palette& palette) {
    constexpr std::size_t shownText = 4096;
    if (payload.claims) {
        std::cout << "claims " << formatJSON(*payload.claims, palette, [now](const auto& name, const auto& value) {
            return describeTime(name, value, now);
        }) << '\n';
    } else if (payload.size == 0) {
        std::cout << "payload is empty\n";
    } else if (payload.text && payload.size > shownText) {
        std::cout << "payload of " << formatCount(payload.size, "byte")
                  << ", which begins: " << makePrintable(cutText(*payload.text, shownText)) << "...\n";
    } else if (payload.text) {
        std::cout << "payload " << makePrintable(*payload.text) << '\n';
    } else {
        std::cout << "payload of " << formatCount(payload.size, "byte") << ", not text\n";
    }
}

void printLayer(const Layer& layer, double now, const Palette& palette) {
    const auto& view = layer.view;
    std::vector<std::pair<std::string, std::string>> rows;
    for (const auto& part : view.parts) {
        rows.emplace_back(part.name, part.bytes ? formatCount(part.bytes->size(), "byte") : "?");
    }
    std::cout << formatNames(rows, palette) << '\n';
    if (view.header) {
        const Note note = [&](const auto& name, const auto&) {
            return describeParameter(name, view.header->at(name), now);
        };
        std::cout << "header " << formatJSON(shortenCertificates(*view.header), palette, note) << '\n';
    }
    if (layer.payload) printPayload(*layer.payload, now, palette);
}

}  // namespace

std::string Layer::state() const {
    if (!key) return view.isEncrypted ? "not decrypted" : "not verified";
    return view.isEncrypted ? "decrypted with your key" : "verified with the peer's key";
}

bool Inspection::hasVerifiedSignature() const {
    return std::ranges::any_of(layers, [](const auto& layer) { return !layer.view.isEncrypted && layer.key; });
}

bool Inspection::isVerified() const {
    return !failure && hasVerifiedSignature() &&
           std::ranges::all_of(layers, [](const auto& layer) { return layer.key.has_value(); });
}

ClaimsSignature Inspection::findClaimsSignature() const {
    if (isVerified()) return ClaimsSignature::verified;
    const bool isSigned = std::ranges::any_of(layers, [](const auto& layer) {
        return !layer.view.isEncrypted && layer.view.readHeaderMember("alg") != "none";
    });
    return isSigned ? ClaimsSignature::unverified : ClaimsSignature::missing;
}

void printInspection(const Inspection& inspection, bool hasPolicy, double now) {
    const auto palette = choosePalette();
    for (bool isOuter = true; const auto& layer : inspection.layers) {
        if (!isOuter) std::cout << '\n';
        printHeading(layer, isOuter, palette);
        printLayer(layer, now, palette);
        if (layer.policy) printPolicy(*layer.policy, inspection, hasPolicy, palette);
        // The policy says all about the claim for which it rejects.
        for (const auto& warning : listWarnings(layer, now, layer.policy ? layer.policy->claim : "")) {
            std::cout << palette.warning << "warning: " << warning << palette.off << '\n';
        }
        isOuter = false;
    }
    if (!inspection.isVerified()) {
        std::cout << '\n'
                  << palette.warning
                  << (inspection.hasVerifiedSignature()
                          ? "Not all of it was verified: anybody may have written the rest."
                          : "Nothing was verified: anybody may have written this.")
                  << palette.off << '\n';
    }
}

void printInspectionJSON(const Inspection& inspection, bool hasPolicy, const std::exception_ptr& error, double now) {
    JSONValue::List layers;
    for (const auto& layer : inspection.layers) {
        auto object = layerAsJSON(layer, now);
        if (layer.policy) object["policy"] = policyAsJSON(*layer.policy, inspection, hasPolicy);
        layers.emplace_back(std::move(object));
    }
    JSONValue::Object document{{"layers", std::move(layers)}, {"verified", inspection.isVerified()}};
    if (error) document["error"] = describeError(error);
    if (auto hint = findHint(error); !hint.empty()) document["hint"] = std::move(hint);
    std::cout << formatJSON(document) << '\n';
}

}  // namespace Command
