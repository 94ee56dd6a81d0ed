// Wall clock.
#pragma once

#include <chrono>

namespace Torvane {

/// The system clock's time in seconds since 1970-01-01T00:00:00Z, with its fraction of a second.
[[nodiscard]] inline double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace Torvane
