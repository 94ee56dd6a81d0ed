#include "cli/shared_options.hpp"

namespace Command {

void addSecretOptions(CLI::App& command, SecretOptions& secret) {
    command
        .add_option("--secret-file", secret.file,
                    "Read the passphrase or PIN from the first line of FILE instead of asking")
        ->type_name("FILE");
    command.add_flag("--last-pin-try", secret.maySpendLastTry,
                     "Send the PIN even if a wrong one would lock the PKCS #11 token");
}

void addJSON(CLI::App& command, bool& asJSON) {
    command.add_flag("--json", asJSON, "Print JSON");
}

void addInput(CLI::App& command, std::string& input, const char* description) {
    command.add_option("file", input, description)->type_name("FILE");
}

void addOutput(CLI::App& command, std::string& output) {
    command.add_option("-o,--output", output, "Write to FILE instead of standard output")->type_name("FILE");
}

void addOwn(CLI::App& command, std::vector<std::string>& own, const char* description) {
    command.add_option("--own", own, description)->type_name("USE[:KID]=URI")->allow_extra_args(false);
}

void addLine(CLI::App& command, std::size_t& line) {
    command.add_option("--line", line, "The line to take, if the input has several tokens")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
}

}  // namespace Command
