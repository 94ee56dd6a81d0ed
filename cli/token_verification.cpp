#include "cli/token_verification.hpp"

#include <algorithm>
#include <utility>

#include "cli/claim_options.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_choice.hpp"
#include "cli/policy_verdict.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;
using JOSE::SignatureAlgorithm;

TokenView readSigned(std::string_view token) {
    auto view = parseToken(token);
    if (view.isEncrypted) {
        throw Failure(ExitCode::token, "The token is encrypted (a JWE): use \"decrypt\", or \"nested decode\".");
    }
    if (view.isMalformed) {
        throw Failure(ExitCode::token, "The token is malformed. " + view.warnings.front(), hintAtLineBreaks(token));
    }
    return view;
}

SignatureAlgorithm requireAlgorithm(const TokenView& view, const std::vector<SignatureAlgorithm>& allowed) {
    const auto name = view.readHeaderMember("alg");
    if (name.empty()) throw Failure(ExitCode::token, "The header has no \"alg\".");
    if (name == "none") throw Failure(ExitCode::signature, "The token is not signed: its algorithm is \"none\".");
    const auto algorithm = JOSE::fromRawValue<SignatureAlgorithm>(name);
    if (!algorithm) {
        throw Failure(ExitCode::signature,
                      "The token is signed with \"" + name + "\", which torvane does not support.");
    }
    if (allowed.empty() || std::ranges::find(allowed, *algorithm) != allowed.end()) return *algorithm;
    std::vector<std::string> names;
    for (const auto each : allowed) names.emplace_back(JOSE::rawValue(each));
    throw Failure(ExitCode::signature, "The token is signed with " + name + "; allowed: " + listNames(names) + '.');
}

// Nothing if the signature does not verify with the key.
std::optional<ByteBuffer> tryKey(std::string_view token, const GivenKey& key, SignatureAlgorithm algorithm) {
    try {
        return JWSVerifier(algorithm, JsonWebKey(key.key, JWKUse::JWK_SIG, {})).verifyJWS(token);
    } catch (const JOSEError& error) {
        const auto* reason = error.underlying<JOSE::JOSESwiftError>();
        if (reason == nullptr) throw;
        if (reason->errorCase() == JOSE::JOSESwiftError::Case::verifyingFailed) return std::nullopt;
        throw Failure(ExitCode::token, "The token is rejected. " + reason->errorDescription());
    }
}

// With the member "claims", "payload" (text) or "payloadBase64url" (bytes).
JSONValue::Object describePayload(ByteView payload) {
    auto view = parsePayload(payload);
    if (view.claims) return {{"claims", *std::move(view.claims)}};
    if (view.text) return {{"payload", *std::move(view.text)}};
    return {{"payloadBase64url", encodeBase64url(*view.bytes)}};
}

JSONValue::Object describeKey(const GivenKey& key) {
    JSONValue::Object object{{"kind", describeKind(key.key)}, {"name", key.name}, {"thumbprint", key.thumbprint()}};
    if (key.keyId) object["kid"] = *key.keyId;
    return object;
}

}  // namespace

VerifiedPayload verifyToken(std::string_view token, std::vector<GivenKey> keys,
                            const std::vector<SignatureAlgorithm>& algorithms, const PolicyOptions& options) {
    static_cast<void>(makePolicy(options));
    auto view = readSigned(token);
    const auto algorithm = requireAlgorithm(view, algorithms);
    const auto fitting = selectFitting(selectByKeyId(std::move(keys), *view.header), algorithm, KeyClass::publicKey);
    for (const auto& key : fitting) {
        auto payload = tryKey(token, key, algorithm);
        if (!payload) continue;
        if (options.areGiven()) {
            if (const auto verdict = judgeClaims(*payload, *view.header, options); verdict.rejection) {
                throw Failure(*verdict.rejection);
            }
        }
        return {*std::move(payload), *std::move(view.header), key};
    }
    auto hint = explainSignatureSize(view);
    if (hint.empty()) hint = hintAtKeyId(fitting, *view.header);
    if (hint.empty()) hint = "The token was changed, or was signed with another key.";
    throw Failure(ExitCode::signature, "The signature does not verify with " + nameAll(fitting) + '.', hint);
}

std::vector<SignatureAlgorithm> findSignatures(const std::vector<std::string>& names) {
    std::vector<SignatureAlgorithm> algorithms;
    for (const auto& name : names) algorithms.push_back(findSignature(name));
    return algorithms;
}

void writeVerified(const std::string& output, const VerifiedPayload& verified, const PolicyOptions& policy, bool asJSON,
                   const JSONValue::Object* jweHeader) {
    const bool isChecked = policy.areGiven();
    if (asJSON) {
        auto object = describePayload(verified.bytes);
        object["header"] = verified.header;
        if (jweHeader != nullptr) object["jweHeader"] = *jweHeader;
        object["key"] = describeKey(verified.key);
        object["verified"] = true;
        object["claimsChecked"] = isChecked;
        writeOutput(output, asBytes(formatJSON(object) + '\n'));
    } else {
        writeOutput(output, verified.bytes);
    }
    if (isChecked || policy.isOff) return;
    warnOfUncheckedClaims(verified.bytes, "--iss, --aud, --sub, --require, --max-age and --typ check them");
}

}  // namespace Command
