// Abort with a message.
#pragma once

#include <string_view>

namespace Torvane {

/// Prints the reason to stderr and aborts the process: for broken preconditions, and when the random source fails.
[[noreturn]] void stopProcess(std::string_view why) noexcept;

}  // namespace Torvane
