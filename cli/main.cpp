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
#include "cli/usage.hpp"

namespace {

using Command::ExitCode;

// How the command ended. The error is empty after a success, and after help that nobody asked for.
struct Outcome {
    ExitCode code = ExitCode::success;
    std::string error{}, hint{};
};

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
        if (const auto* command = Command::findUnchosenCommand(*commandLine, error)) {
            std::cerr << Command::formatHelp(*command);
            return {ExitCode::usage};
        }
        auto [text, hint] = Command::describeUsage(*commandLine, error);
        return {ExitCode::usage, hidePins(std::move(text)), hidePins(std::move(hint))};
    } catch (...) {
        const auto thrown = std::current_exception();
        return {Command::chooseExitCode(thrown), hidePins(Command::describeError(thrown)),
                hidePins(Command::findHint(thrown))};
    }
    return {};
}

// A "kid" may be as long as its token.
void printLine(std::string_view before, std::string_view text) {
    constexpr std::size_t most = 4096;
    const auto shown = Command::cutText(text, most);
    std::cerr << before << Command::makePrintable(shown) << (shown.size() < text.size() ? "...\n" : "\n");
}

}  // namespace

int main(int count, char** arguments) {
    Torvane::System::prepareStandardStreams();
    auto outcome = runCommand(count, arguments);
    // Whoever reads incomplete output has to know, so this error takes precedence.
    if (!std::cout.flush()) outcome = {ExitCode::file, "Cannot write standard output."};
    if (!outcome.error.empty()) {
        printLine("torvane: ", outcome.error);
        if (!outcome.hint.empty()) printLine("hint: ", outcome.hint);
    }
    return static_cast<int>(outcome.code);
}
