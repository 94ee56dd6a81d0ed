// The wall clock.
#pragma once

#include <chrono>

namespace Torvane {

/// Seconds since 1970-01-01T00:00:00Z, with the clock's fraction of a second.
inline double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace Torvane
