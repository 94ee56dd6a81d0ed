// Entry point of the torvane command.
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "torvane/platform/system/file.hpp"

#include "cli/arguments.hpp"
#include "cli/exit_code.hpp"
#include "cli/hide_pins.hpp"
#include "cli/text.hpp"

namespace {

using Command::ExitCode;

// How the command ended; the error is empty after a success, and the hint after most errors.
struct Outcome {
    ExitCode code = ExitCode::success;
    std::string error{}, hint{};
};

// The parser's own text, unless it would show the value of an option, which may be a PIN or a passphrase.
std::string describe(const CLI::ParseError& error, const std::vector<std::string>& unexpected) {
    std::string text = error.what();
    if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) return text.substr(0, text.find(" = ")) + '.';
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (unexpected.empty() || (!isMissing && dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr)) return text;
    const auto option =
        std::ranges::find_if(unexpected, [](const auto& word) { return word.starts_with('-') && word != "--"; });
    if (option != unexpected.end()) {
        // A short option may have its value behind it, a long one after "=".
        const auto size = option->starts_with("--") ? option->find('=') : std::size_t{2};
        return "Unknown option \"" + option->substr(0, size) + "\".";
    }
    // The parser reports an unknown command as a missing one.
    return isMissing ? "Unknown command \"" + unexpected.front() + "\"." : text;
}

Outcome runCommand(int count, char** arguments) {
    const auto commandLine = Command::makeCommandLine();
    const auto hidePins = [&](std::string text) {
        return Command::hidePins(std::move(text), {arguments + std::min(count, 1), arguments + count});
    };
    try {
        commandLine->parse(count, arguments);
    } catch (const CLI::Success& asked) {
        commandLine->exit(asked);
    } catch (const CLI::ParseError& error) {
        return {ExitCode::usage, hidePins(describe(error, commandLine->remaining(true))) + " (See torvane --help.)"};
    } catch (...) {
        const auto thrown = std::current_exception();
        return {Command::chooseExitCode(thrown), hidePins(Torvane::localizedDescription(thrown)),
                hidePins(Command::findHint(thrown))};
    }
    return {};
}

}  // namespace

int main(int count, char** arguments) {
    Torvane::System::prepareStandardStreams();
    auto outcome = runCommand(count, arguments);
    // Whoever reads incomplete output has to know, so this error takes precedence.
    if (!std::cout.flush()) outcome = {ExitCode::file, "Cannot write standard output."};
    if (outcome.code != ExitCode::success) {
        std::cerr << "torvane: " << Command::makePrintable(outcome.error) << '\n';
        if (!outcome.hint.empty()) std::cerr << "hint: " << Command::makePrintable(outcome.hint) << '\n';
    }
    return static_cast<int>(outcome.code);
}
