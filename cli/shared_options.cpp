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

CLI::Option* addList(CLI::App& command, const char* name, std::vector<std::string>& values, const char* description,
                     const char* type) {
    return command.add_option(name, values, description)->type_name(type)->allow_extra_args(false);
}

void addOwn(CLI::App& command, std::vector<std::string>& own, const char* description) {
    addList(command, "--own", own, description, "USE[:KID]=URI");
}

void addPolicy(CLI::App& command, PolicyOptions& policy) {
    addList(command, "--iss", policy.issuers, "\"iss\" must be NAME; repeatable, any one is enough", "NAME");
    addList(command, "--aud", policy.audiences, "\"aud\" must contain NAME; repeatable, any one is enough", "NAME");
    command.add_option("--sub", policy.subject, "\"sub\" must be NAME")->type_name("NAME");
    addList(command, "--require", policy.required, "The claim must be there; repeatable", "CLAIM");
    command.add_option("--leeway", policy.leeway, "How far clocks may differ, for example 30s")->type_name("TIME");
    command.add_option("--max-age", policy.maximumAge, "Longest time since \"iat\", for example 1h")->type_name("TIME");
    command.add_option("--typ", policy.type, "\"typ\" of the header must be TYPE, for example at+jwt")
        ->type_name("TYPE");
    command.add_flag("--allow-no-expiry", policy.allowsNoExpiry, "Accept claims without \"exp\"");
}

void addLine(CLI::App& command, std::size_t& line) {
    command.add_option("--line", line, "The line to take, if the input has several tokens")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
}

}  // namespace Command
