// The torvane command.
#include <exception>
#include <iostream>
#include <torvane/platform/error.hpp>

#include "cli/arguments.hpp"
#include "cli/exit_code.hpp"
#include "cli/text.hpp"

namespace {

using Command::ExitCode;

int fail(ExitCode code, const std::string& text) {
    std::cerr << "torvane: " << Command::printable(text) << '\n';
    return static_cast<int>(code);
}

}  // namespace

int main(int count, char** arguments) {
    const auto commandLine = Command::commandLine();
    try {
        commandLine->parse(count, arguments);
        if (!std::cout.flush()) return fail(ExitCode::file, "Cannot write the standard stream.");
        return static_cast<int>(ExitCode::success);
    } catch (const CLI::Success& asked) {
        return commandLine->exit(asked);
    } catch (const CLI::ParseError& error) {
        return fail(ExitCode::usage, std::string(error.what()) + " (torvane --help explains.)");
    } catch (...) {
        const auto thrown = std::current_exception();
        return fail(Command::exitCodeOf(thrown), Platform::localizedDescription(thrown));
    }
}
