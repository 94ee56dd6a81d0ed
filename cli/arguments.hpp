// The command line: every command with its options and the words that explain them.
#pragma once

#include <CLI/App.hpp>
#include <memory>

namespace Command {

/// The parser; parsing runs the command.
std::unique_ptr<CLI::App> commandLine();

}  // namespace Command
