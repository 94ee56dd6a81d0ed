// The torvane command.
#include <exception>
#include <iostream>
#include <torvane/platform/core/error.hpp>

#include "cli/arguments.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/text.hpp"

namespace {

using Command::ExitCode;

int fail(ExitCode code, const std::string& text) {
    std::cerr << "torvane: " << Command::printable(text) << '\n';
    return static_cast<int>(code);
}

}  // namespace

int main(int count, char** arguments) {
    Command::holdStandardStreams();
    const auto commandLine = Command::commandLine();
    try {
        commandLine->parse(count, arguments);
        if (!std::cout.flush()) return fail(ExitCode::file, "Cannot write the standard stream.");
        return static_cast<int>(ExitCode::success);
    } catch (const CLI::Success& asked) {
        return commandLine->exit(asked);
    } catch (const CLI::ParseError& error) {
        // A word that is no command shows as the lack of one.
        const auto rest = commandLine->remaining(true);
        const bool isWord = error.get_name() == "RequiredError" && !rest.empty();
        return fail(ExitCode::usage, (isWord ? "There is no command \"" + rest.front() + "\"." : error.what()) +
                                         std::string(" (torvane --help explains.)"));
    } catch (...) {
        const auto thrown = std::current_exception();
        return fail(Command::exitCodeOf(thrown), Torvane::localizedDescription(thrown));
    }
}
