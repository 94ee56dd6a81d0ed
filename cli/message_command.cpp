#include "cli/claim_options.hpp"
#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/header_options.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_spec.hpp"
#include "cli/message_advice.hpp"
#include "cli/set_files.hpp"
#include "cli/terminal.hpp"
#include "cli/token_input.hpp"

namespace Command {
namespace {

using namespace Torvane;

std::optional<std::string> nothingIfEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

MessageOptions spellAlgorithms(MessageOptions options) {
    options.jwsAlgorithm = spellAlgorithm(options.jwsAlgorithm);
    options.keyManagementAlgorithm = spellAlgorithm(options.keyManagementAlgorithm);
    options.contentEncryptionAlgorithm = spellAlgorithm(options.contentEncryptionAlgorithm);
    return options;
}

Parties openParties(const MessageOptions& options) {
    return {openOwnKeys(options.own, options.secret), parseSet(options.peer, readSetText(options.peer))};
}

JOSEHelper makeHelper(const MessageOptions& options, const Parties& parties) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(parties.own, nothingIfEmpty(options.signWith))
        .setRecipientJwkSet(parties.peer, nothingIfEmpty(options.encryptTo));
    if (!options.jwsAlgorithm.empty()) builder.setJWSAlgorithm(options.jwsAlgorithm);
    if (!options.keyManagementAlgorithm.empty()) {
        builder.setJWEKeyManagementAlgorithm(options.keyManagementAlgorithm);
    }
    if (!options.contentEncryptionAlgorithm.empty()) {
        builder.setJWEContentEncryptionAlgorithm(options.contentEncryptionAlgorithm);
    }
    if (!options.jwsHeaders.empty()) builder.addJwsHeaders(parseHeaders(options.jwsHeaders));
    if (!options.jweHeaders.empty()) builder.addJweHeaders(parseHeaders(options.jweHeaders));
    return builder.create();
}

template <class Step>
ByteBuffer runWithProgress(std::string_view verb, std::size_t bytes, Step step) {
    Progress progress(verb);
    progress.announce(bytes);
    return step();
}

}  // namespace

void encode(const MessageOptions& given) {
    const auto options = spellAlgorithms(given);
    const auto parties = openParties(options);
    checkEncoding(options, parties);
    const auto helper = makeHelper(options, parties);
    const auto message = readInput(options.input);
    const auto token = runWithProgress("encoding", message.size(), [&] {
        try {
            return helper.encodeMessage(message);
        } catch (const JOSE::JOSESwiftError& error) {
            throw Failure(ExitCode::usage, error.errorDescription());  // a header parameter is not allowed
        } catch (const Error&) {
            throw addHint(std::current_exception(), explainAlgorithm(options));
        }
    });
    writeOutput(options.output, token);
}

void decode(const MessageOptions& given) {
    const auto options = spellAlgorithms(given);
    const auto parties = openParties(options);
    const auto helper = makeHelper(options, parties);
    const auto input = readTokenOrArgument(options.input);
    const auto token = findToken(asText(input), options.line);
    checkDecoding(options, parties, token);
    const auto message = runWithProgress("decoding", token.size(), [&] {
        try {
            return helper.decodeMessage(token);
        } catch (const Error&) {
            explainDecoding(options, parties, token, std::current_exception());
        }
    });
    writeOutput(options.output, message);
    if (!options.hasNoPolicy) warnOfUncheckedClaims(message, "`torvane nested decode --iss ...` checks them");
}

}  // namespace Command
