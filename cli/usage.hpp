// Errors of the command line: what is wrong, and what was probably meant.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace Command {

struct UsageError {
    std::string text, hint;
};

/// The command that is missing from a command line without any word that could be one: its help says what to choose
/// from. Null for any other error.
const CLI::App* findUnchosenCommand(const CLI::App& root, const CLI::ParseError& error);

/// The parser's own text, unless it would show the value of an option, which may be a PIN or a passphrase. The hint
/// names a command or option that is spelt alike, and the command whose help explains the rest.
UsageError describeUsage(const CLI::App& root, const CLI::ParseError& error);

/// The command that the words name; null if there is none.
const CLI::App* findCommand(const CLI::App& root, const std::vector<std::string>& words);

/// The last command that was parsed, or the root.
const CLI::App& findParsedCommand(const CLI::App& root);

/// The words that call a command: "torvane key new".
std::string nameCommand(const CLI::App& command);

/// The help of a command, as --help prints it.
std::string formatHelp(const CLI::App& command);

}  // namespace Command
