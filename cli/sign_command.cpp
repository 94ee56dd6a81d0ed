#include <utility>

#include "cli/claim_options.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/header_options.hpp"
#include "cli/key_choice.hpp"
#include "cli/key_files.hpp"
#include "cli/token_commands.hpp"
#include "cli/token_input.hpp"
#include "cli/token_verification.hpp"

namespace Command {
using namespace Torvane;

void sign(const SignOptions& options) {
    const auto algorithm = options.algorithm.empty() ? std::nullopt : std::optional(findSignature(options.algorithm));
    const auto headers = parseHeaders(options.headers, options.type);
    const bool hasClaims = options.claims.areGiven();
    if (hasClaims) requireNoInput(options.claims, options.input, "payload");
    auto payload = hasClaims ? makeClaims(options.claims) : ByteBuffer();
    const auto keys = openKeys({options.key}, KeyClass::privateKey, "signing", options.secret);
    const auto choice = chooseKey(keys, "--key", algorithm, KeyClass::privateKey, listSignatures);
    auto keyId = options.keyId.empty() ? choice.key->tokenKeyId() : options.keyId;
    const JWSSigner signer(choice.algorithm, JsonWebKey(choice.key->key, JWKUse::JWK_SIG, std::move(keyId)));
    if (!hasClaims) payload = readInput(options.input);
    const auto token = makeToken("signing", payload.size(), [&] { return signer.signJWT(payload, headers); });
    writeOutput(options.output, token);
}

void verify(const VerifyOptions& options) {
    const auto algorithms = findSignatures(options.algorithms);
    static_cast<void>(makePolicy(options.policy));
    auto keys = openKeys(options.keys, KeyClass::publicKey, "verifying", options.secret);
    const auto input = readTokenOrArgument(options.input);
    const auto token = findToken(asText(input), options.line);
    const auto verified = verifyToken(token, std::move(keys), algorithms, options.policy);
    writeVerified(options.output, verified, options.policy, options.asJSON);
}

}  // namespace Command
