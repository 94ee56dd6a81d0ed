// The process, as the operating system knows it.
#pragma once

namespace Torvane::System {

/// Identifies this process; its child processes have other numbers.
int readProcessId() noexcept;

}  // namespace Torvane::System
