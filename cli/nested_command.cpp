#include <utility>

#include "cli/claim_options.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/header_options.hpp"
#include "cli/key_choice.hpp"
#include "cli/key_files.hpp"
#include "cli/token_commands.hpp"
#include "cli/token_decryption.hpp"
#include "cli/token_input.hpp"
#include "cli/token_verification.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

// A token with exactly these keys and algorithms.
NestedToken makeNestedToken(const NestedEncodeOptions& options) {
    const auto signature =
        options.jwsAlgorithm.empty() ? std::nullopt : std::optional(findSignature(options.jwsAlgorithm));
    const auto keyManagement =
        options.jweAlgorithm.empty() ? std::nullopt : std::optional(findKeyManagement(options.jweAlgorithm));
    const auto contentEncryption = findContentEncryption(options.contentEncryption);
    const auto jwsHeaders = parseHeaders(options.jwsHeaders, options.type);
    const auto jweHeaders = parseHeaders(options.jweHeaders);
    const auto ours = openKeys({options.key}, KeyClass::privateKey, "signing", options.secret);
    const auto signing = chooseKey(ours, "--key", signature, KeyClass::privateKey, listSignatures);
    const auto theirs = openKeys({options.recipient}, KeyClass::publicKey, "encrypting", options.secret);
    const auto encryption = chooseKey(theirs, "--to", keyManagement, KeyClass::publicKey, listKeyManagements);
    auto signingId = options.keyId.empty() ? signing.key->tokenKeyId() : options.keyId;
    NestedToken nested({{signing.key->key, JWKUse::JWK_SIG, std::move(signingId)}},
                       {{encryption.key->key, JWKUse::JWK_ENC, encryption.key->tokenKeyId()}},
                       {{signing.algorithm}, {{encryption.algorithm}, {contentEncryption}}});
    nested.setJwsHeaders(jwsHeaders).setJweHeaders(jweHeaders);
    return nested;
}

}  // namespace

void encodeNested(const NestedEncodeOptions& options) {
    const bool hasClaims = options.claims.areGiven();
    if (hasClaims) requireNoInput(options.claims, options.input, "message");
    auto message = hasClaims ? makeClaims(options.claims) : ByteBuffer();
    const auto nested = makeNestedToken(options);
    if (!hasClaims) message = readInput(options.input);
    const auto token = makeToken("encoding", message.size(), [&] { return nested.encode(message); });
    writeOutput(options.output, token);
}

void decodeNested(const NestedDecodeOptions& options) {
    const auto allowed = findEncryption(options.jweAlgorithms, options.contentEncryptions);
    const auto signatures = findSignatures(options.jwsAlgorithms);
    static_cast<void>(makePolicy(options.policy));
    auto ours = openKeys(options.keys, KeyClass::privateKey, "decrypting", options.secret);
    auto theirs = openKeys(options.senders, KeyClass::publicKey, "verifying", options.secret);
    const auto input = readTokenOrArgument(options.input);
    const auto token = findToken(asText(input), options.line);
    // Not by NestedToken: a key from a file has no id of its own, and the inner header is known only after decryption.
    const auto outer = decryptToken(token, std::move(ours), allowed);
    if (!looksLikeToken(outer.plaintext)) {
        throw Failure(ExitCode::token, "The token is decrypted, but there is no signed token inside.",
                      looksLikeTokenInSpace(outer.plaintext) ? removeSpace : "`torvane decrypt` shows what is inside.");
    }
    const auto verified = verifyToken(asText(outer.plaintext), std::move(theirs), signatures, options.policy);
    writeVerified(options.output, verified, options.policy, options.asJSON, &outer.header);
}

}  // namespace Command
