// The command-line parser: all commands with their options and help texts.
#pragma once

#include <CLI/App.hpp>
#include <memory>

namespace Command {

/// A parser that runs the command when it has parsed it.
std::unique_ptr<CLI::App> makeCommandLine();

}  // namespace Command
