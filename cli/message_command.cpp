#include <algorithm>
#include <array>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Parameters that the library sets itself, in place of any other.
constexpr std::array<std::string_view, 3> reserved{"alg", "enc", "kid"};

StringMap headersFrom(const std::vector<std::string>& texts) {
    StringMap headers;
    for (const auto& text : texts) {
        const auto equals = text.find('=');
        const auto name = text.substr(0, equals);
        const auto refuse = [&text](const char* why) { throw Failure(ExitCode::usage, '"' + text + "\" " + why); };
        if (equals == text.npos || equals == 0) refuse("is not a header parameter in the form NAME=VALUE.");
        if (std::ranges::find(reserved, name) != reserved.end()) refuse("is for another option to say.");
        if (!headers.emplace(name, text.substr(equals + 1)).second)
            refuse("gives a header parameter for the second time.");
    }
    return headers;
}

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

JOSEHelper helperFrom(const MessageOptions& options) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(ownKeys(options.own, secretSource(options.secretFile)), unlessEmpty(options.signWith))
        .setRecipientJwkSet(JsonWebKeySet(readInput(options.peer)), unlessEmpty(options.encryptTo));
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
    auto token = withProgress("encoding", message.size(), [&] {
        try {
            return helper.encodeMessage(message);
        } catch (const JOSE::JOSESwiftError& error) {
            throw Failure(ExitCode::usage, error.errorDescription());  // of a header parameter
        }
    });
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
