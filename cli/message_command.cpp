#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;

StringMap headersFrom(const std::vector<std::string>& texts) {
    StringMap headers;
    for (const auto& text : texts) {
        const auto equals = text.find('=');
        if (equals == text.npos || equals == 0) {
            throw Failure(ExitCode::usage, "\"" + text + "\" is not a header parameter in the form NAME=VALUE.");
        }
        headers[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return headers;
}

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

JOSEHelper helperFrom(const MessageOptions& options) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(ownKeys(options.own, secretSource(options.secretFile)), unlessEmpty(options.signWith))
        .setRecipientJwkSet(keySetOf(options.peer), unlessEmpty(options.encryptTo));
    if (!options.jwsAlgorithm.empty()) builder.setJWSAlgorithm(options.jwsAlgorithm);
    if (!options.keyManagementAlgorithm.empty()) {
        builder.setJWEKeyManagementAlgorithm(options.keyManagementAlgorithm);
    }
    if (!options.contentEncryptionAlgorithm.empty()) {
        builder.setJWEContentEncryptionAlgorithm(options.contentEncryptionAlgorithm);
    }
    if (!options.jwsHeaders.empty()) builder.addJwsHeaders(headersFrom(options.jwsHeaders));
    if (!options.jweHeaders.empty()) builder.addJweHeaders(headersFrom(options.jweHeaders));
    return builder.create();
}

template <class Step>
ByteBuffer withProgress(std::string_view verb, std::size_t bytes, Step step) {
    Progress progress(verb);
    progress.announce(bytes);
    return step();
}

}  // namespace

void encode(const MessageOptions& options) {
    const auto helper = helperFrom(options);
    const auto message = readInput(options.input);
    auto token = withProgress("encoding", message.size(), [&] { return helper.encodeMessage(message); });
    token.push_back('\n');
    writeOutput(options.output, token);
}

void decode(const MessageOptions& options) {
    const auto helper = helperFrom(options);
    const auto input = readInput(options.input);
    const auto token = asBytes(trimmed(asText(input)));
    writeOutput(options.output, withProgress("decoding", token.size(), [&] { return helper.decodeMessage(token); }));
}

}  // namespace Command
