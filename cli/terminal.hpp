// The terminal, where there is one: colours, questions that are not echoed, and a line of progress.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>
#include <torvane/platform/core/key_vocabulary.hpp>

#include "cli/text.hpp"

namespace Command {

/// Colours when standard output is a terminal that has them, unless NO_COLOR is set (no-color.org).
Palette paletteOfOutput();

/// Answers each time with the first line of the file; without one, asks on the terminal, where what is typed is not
/// shown. Gives nothing where there is no terminal.
Torvane::SecretSource secretSource(const std::string& secretFile);

/// The same for a new passphrase: asked for twice, and neither empty nor too long.
/// @throws Failure
Torvane::SecretSource newSecretSource(const std::string& secretFile);

/// A line on standard error that says how far a long input is, where that is a terminal; gone when it goes.
class Progress {
  public:
    explicit Progress(std::string_view verb);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Of so many bytes so far; some times a second at most.
    void show(std::size_t bytes);
    /// Of a step that cannot say how far it is, where its bytes are many.
    void announce(std::size_t bytes);

  private:
    void print(std::size_t bytes);

    std::string_view verb_;
    bool isTerminal_;
    bool isShown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace Command
