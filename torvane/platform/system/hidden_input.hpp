// Questions on the terminal of the process, answered without echo. Only the command asks them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::System {

/// The terminal without echo. The destructor, or a signal that ends or stops the process, restores it.
class HiddenInput {
  public:
    HiddenInput() = default;
    virtual ~HiddenInput() = default;
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

    /// Prints the question, and reads a line. Returns nothing at the end of the input.
    virtual std::optional<SecretBuffer> ask(const std::string& question) = 0;
};

/// Null if the process has no terminal.
std::unique_ptr<HiddenInput> openHiddenInput();

}  // namespace Torvane::System
