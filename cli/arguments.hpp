// The command-line parser: all commands with their options and help texts.
#pragma once

#include <CLI/App.hpp>
#include <memory>

namespace Command {

/// A parser that runs the command when it has parsed it.
std::unique_ptr<CLI::App> makeCommandLine();

/// @{
/// Add the commands of one kind: `key`, `jwks`, those for single tokens, and those for messages.
void addKeyCommands(CLI::App& root);
void addSetCommands(CLI::App& root);
void addTokenCommands(CLI::App& root);
void addMessageCommands(CLI::App& root);
/// @}

}  // namespace Command
