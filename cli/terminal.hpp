// The terminal, if there is one: colours, and a progress line.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

#include "cli/text.hpp"

namespace Command {

/// Colours if standard output is a terminal that supports them and NO_COLOR is not set (no-color.org); else none.
Palette choosePalette();

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
