#include <torvane/platform/core/clock.hpp>
#include <utility>

#include "cli/claim_options.hpp"
#include "cli/exit_code.hpp"
#include "cli/inspection.hpp"
#include "cli/inspection_keys.hpp"
#include "cli/text.hpp"
#include "cli/token_commands.hpp"
#include "cli/token_input.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

class Inspector {
  public:
    Inspector(const InspectionKeys& keys, const PolicyOptions& policy) noexcept : keys_(keys), policy_(policy) {}

    Inspection inspect(std::string_view token) const {
        Inspection inspection;
        try {
            inspectLayers(inspection, token);
            if (keys_.peer && !inspection.isVerified()) {
                throw Failure(ExitCode::signature, "The token has no signature.");
            }
        } catch (...) {
            inspection.failure = std::current_exception();
        }
        return inspection;
    }

  private:
    // Limits the recursion on hostile input.
    static constexpr std::size_t maximumLayers = 8;

    void inspectLayers(Inspection& inspection, std::string_view token) const {
        if (inspection.layers.size() == maximumLayers) {
            throw Failure(ExitCode::token,
                          "More than " + formatCount(maximumLayers, "token") + " are nested in each other.");
        }
        auto& layer = inspection.layers.emplace_back(Layer{parseToken(token)});
        if (const auto* payload = layer.view.payload()) notePayload(layer, *payload);
        const auto inner = open(layer, token);
        if (layer.view.isEncrypted && layer.key) notePayload(layer, inner);
        const auto inside = trim(asText(inner));
        if (!looksLikeToken(asBytes(inside))) return;
        if (inside.size() < inner.size()) {
            layer.view.warnings.emplace_back("White space is around the token inside: receivers may reject it.");
        }
        layer.payload.reset();
        inspectLayers(inspection, inside);
    }

    void notePayload(Layer& layer, ByteView payload) const {
        layer.payload = parsePayload(payload);
        if (const auto why = explainUnreadableClaims(payload); !why.empty()) {
            layer.view.warnings.push_back("The payload cannot be read as claims. " + makePrintable(why));
        }
        if (!layer.payload->claims || layer.view.isMalformed) return;
        layer.policy = judgeClaims(payload, *layer.view.header, policy_);
    }

    // The payload of a JWS, verified if there are keys of the peer; the plaintext of a JWE, empty without keys.
    ByteBuffer open(Layer& layer, std::string_view token) const {
        if (layer.view.isMalformed) throw Failure(ExitCode::token, "The token is malformed.");
        const bool isToBeOpened = layer.view.isEncrypted ? keys_.areGiven() : keys_.peer.has_value();
        if (layer.view.isEncrypted) return isToBeOpened ? decryptLayer(layer, token, keys_) : ByteBuffer();
        if (isToBeOpened) verifyLayer(layer, token, keys_);
        return *layer.view.payload();
    }

    const InspectionKeys& keys_;
    const PolicyOptions& policy_;
};

// Why the policy of the command line does not accept an inspected token; null if it does.
std::exception_ptr checkPolicy(const Inspection& inspection) {
    const auto& innermost = inspection.layers.back();
    if (innermost.policy && !innermost.policy->rejection) return nullptr;
    if (innermost.policy) return std::make_exception_ptr(*innermost.policy->rejection);
    if (innermost.view.isEncrypted && !innermost.key) {
        return std::make_exception_ptr(Failure(ExitCode::key,
                                               "The token is not decrypted, so its claims cannot be checked.",
                                               adviseToGiveKey(innermost.view)));
    }
    const auto& payload = innermost.payload;
    return std::make_exception_ptr(
        explainMissingClaims(payload && payload->text ? asBytes(*payload->text) : ByteView()));
}

}  // namespace

void inspect(const InspectOptions& options) {
    static_cast<void>(makePolicy(options.policy));
    const bool hasPolicy = options.policy.areGiven();
    const auto keys = openInspectionKeys(options);
    const auto input = readTokenOrArgument(options.input);
    const auto inspection = Inspector(keys, options.policy).inspect(findToken(asText(input), options.line));
    if (inspection.layers.empty()) std::rethrow_exception(inspection.failure);
    const auto error = inspection.failure || !hasPolicy ? inspection.failure : checkPolicy(inspection);
    const auto now = Torvane::secondsSince1970();
    if (options.asJSON) {
        printInspectionJSON(inspection, hasPolicy, error, now);
    } else {
        printInspection(inspection, hasPolicy, now);
    }
    if (error) std::rethrow_exception(error);
}

}  // namespace Command
