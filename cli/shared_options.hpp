// Options that several commands share, and how a command is added to the command line.
#pragma once

#include <CLI/App.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands.hpp"
#include "cli/token_commands.hpp"

namespace Command {

/// Adds a command that runs when it has been parsed. Its options live as long as the parser.
template <class Options>
std::pair<CLI::App*, std::shared_ptr<Options>> addCommand(CLI::App& parent, const char* name, const char* description,
                                                          void (*run)(const Options&)) {
    auto* command = parent.add_subcommand(name, description);
    auto options = std::make_shared<Options>();
    command->callback([run, options] { run(*options); });
    return {command, options};
}

/// --secret-file and --last-pin-try.
void addSecretOptions(CLI::App& command, SecretOptions& secret);
/// --json.
void addJSON(CLI::App& command, bool& asJSON);
/// The argument FILE.
void addInput(CLI::App& command, std::string& input, const char* description);
/// -o.
void addOutput(CLI::App& command, std::string& output);
/// --line.
void addLine(CLI::App& command, std::size_t& line);
/// An option with a list of values, one for each time that it is given.
CLI::Option* addList(CLI::App& command, const char* name, std::vector<std::string>& values, const char* description,
                     const char* type);
/// --own.
void addOwn(CLI::App& command, std::vector<std::string>& own, const char* description);
/// The options that check claims, from --iss to --allow-no-expiry.
void addPolicy(CLI::App& command, PolicyOptions& policy);

}  // namespace Command
