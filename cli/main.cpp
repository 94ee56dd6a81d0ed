// Entry point of the torvane command.
#include <exception>
#include <iostream>

#include "cli/arguments.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/text.hpp"

namespace {

using Command::ExitCode;

int fail(ExitCode code, const std::string& text) {
    std::cerr << "torvane: " << Command::makePrintable(text) << '\n';
    return static_cast<int>(code);
}

}  // namespace

int main(int count, char** arguments) {
    Command::reserveStandardStreams();
    const auto commandLine = Command::makeCommandLine();
    try {
        commandLine->parse(count, arguments);
        if (!std::cout.flush()) return fail(ExitCode::file, "Cannot write standard output.");
        return static_cast<int>(ExitCode::success);
    } catch (const CLI::Success& asked) {
        return commandLine->exit(asked);
    } catch (const CLI::ParseError& error) {
        // The parser reports an unknown command as a missing one.
        const auto rest = commandLine->remaining(true);
        const bool isWord = error.get_name() == "RequiredError" && !rest.empty();
        return fail(ExitCode::usage, (isWord ? "Unknown command \"" + rest.front() + "\"." : error.what()) +
                                         std::string(" (See torvane --help.)"));
    } catch (...) {
        const auto thrown = std::current_exception();
        return fail(Command::chooseExitCode(thrown), Torvane::localizedDescription(thrown));
    }
}
