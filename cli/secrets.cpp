#include "cli/secrets.hpp"

#include <memory>
#include <optional>
#include <string_view>

#include "torvane/platform/system/hidden_input.hpp"

#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using Torvane::SecretBuffer;
namespace System = Torvane::System;

SecretBuffer readFirstLine(const std::string& path) {
    auto content = readSecretFile(path);
    std::size_t size = 0;
    while (size < content.size() && content[size] != '\n' && content[size] != '\r') ++size;
    content.resize(size);
    return content;
}

// OpenSSL reads no longer passphrases.
constexpr std::size_t maximumPassphrase = 1024;

std::string capitalise(std::string_view text) {
    std::string result(text);
    if (!result.empty() && result[0] >= 'a' && result[0] <= 'z') result[0] = static_cast<char>(result[0] - 'a' + 'A');
    return result;
}

SecretBuffer askTwice(std::string_view description) {
    const auto terminal = System::openHiddenInput();
    if (!terminal) {
        throw Failure(ExitCode::key, "There is no terminal to ask for " + std::string(description) + '.',
                      giveSecretFile);
    }
    const auto question = makePrintable(capitalise(description));
    auto first = terminal->ask(question + ": ");
    if (!first) throw Failure(ExitCode::key, "No passphrase was entered.");
    if (first != terminal->ask(question + ", again: ")) {
        throw Failure(ExitCode::key, "The two passphrases differ.");
    }
    return *std::move(first);
}

}  // namespace

Torvane::SecretSource makeSecretSource(const std::string& secretFile) {
    if (secretFile.empty()) {
        return [](std::string_view description) -> std::optional<SecretBuffer> {
            const auto terminal = System::openHiddenInput();
            return terminal ? terminal->ask(makePrintable(capitalise(description)) + ": ") : std::nullopt;
        };
    }
    // Read once, when first needed: it may be a pipe.
    return [secretFile, secret = std::make_shared<std::optional<SecretBuffer>>()](std::string_view description) {
        if (!*secret) *secret = readFirstLine(secretFile);
        // Unlike the passphrase of a file, a PIN is never empty, and a wrong one spends a try.
        if ((*secret)->empty() && description.starts_with("the PIN ")) {
            throw Failure(ExitCode::key, "The first line of " + nameInput(secretFile) + " is empty, so it is no PIN.");
        }
        return *secret;
    };
}

Torvane::SecretSource makeNewSecretSource(const std::string& secretFile) {
    return [secretFile](std::string_view description) -> std::optional<SecretBuffer> {
        const auto secret = secretFile.empty() ? askTwice(description) : readFirstLine(secretFile);
        if (secret.empty()) throw Failure(ExitCode::key, "The passphrase is empty.");
        if (secret.size() > maximumPassphrase) {
            throw Failure(ExitCode::key,
                          "The passphrase is longer than " + formatCount(maximumPassphrase, "byte") + '.');
        }
        return secret;
    };
}

}  // namespace Command
