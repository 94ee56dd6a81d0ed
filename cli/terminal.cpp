#include "cli/terminal.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "torvane/platform/system/file.hpp"
#include "torvane/platform/system/hidden_input.hpp"

#include "cli/exit_code.hpp"
#include "cli/files.hpp"

namespace Command {
namespace {

using Torvane::SecretBuffer;
namespace System = Torvane::System;

std::string_view environmentVariable(const char* name) noexcept {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): there is one thread
    return value == nullptr ? std::string_view() : value;
}

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

Palette choosePalette() {
    const auto terminal = environmentVariable("TERM");
    const bool wantsColours = !terminal.empty() && terminal != "dumb" && environmentVariable("NO_COLOR").empty();
    return wantsColours && System::File::standardOutput().isTerminal() ? Palette::colours() : Palette::none();
}

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

Progress::Progress(std::string_view verb)
    : verb_(verb),
      isTerminal_(System::File::standardError().isTerminal()),
      next_(std::chrono::steady_clock::now() + std::chrono::milliseconds(300)) {}

Progress::~Progress() {
    constexpr std::string_view erase = "\r\033[K";
    if (isShown_) static_cast<void>(!std::fwrite(erase.data(), 1, erase.size(), stderr));
}

void Progress::show(std::size_t bytes) {
    if (!isTerminal_ || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    print(bytes);
}

void Progress::announce(std::size_t bytes) {
    constexpr std::size_t many = std::size_t{16} << 20;
    if (isTerminal_ && bytes >= many) print(bytes);
}

void Progress::print(std::size_t bytes) {
    const auto line = "\r\033[K" + std::string(verb_) + ' ' + formatSize(bytes);
    isShown_ = std::fwrite(line.data(), 1, line.size(), stderr) > 0;
}

}  // namespace Command
