// The terminal, if there is one: colours, questions without echo, and a progress line.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>
#include <torvane/torvane.hpp>

#include "cli/text.hpp"

namespace Command {

/// Colours if standard output is a terminal that supports them and NO_COLOR is not set (no-color.org); else none.
Palette choosePalette();

/// The hint when there is no terminal to ask for a passphrase or PIN.
inline constexpr auto giveSecretFile = "Without a terminal, --secret-file FILE gives the passphrase or PIN.";

/// Answers with the first line of the file or, if the file name is empty, asks on the terminal without echo. Returns
/// nothing if there is no terminal.
Torvane::SecretSource makeSecretSource(const std::string& secretFile);

/// The same for a new passphrase of 1 to 1024 bytes; on the terminal it is asked for twice.
/// The source throws Failure.
Torvane::SecretSource makeNewSecretSource(const std::string& secretFile);

/// A progress line on standard error, if that is a terminal. The destructor erases it.
class Progress {
  public:
    explicit Progress(std::string_view verb);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows the number of bytes done so far; redraws at most ten times a second.
    void show(std::size_t bytes);
    /// Shows the size of a step that reports no progress, if it is 16 MiB or more.
    void announce(std::size_t bytes);

  private:
    void print(std::size_t bytes);

    std::string_view verb_;
    bool isTerminal_;
    bool isShown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace Command
