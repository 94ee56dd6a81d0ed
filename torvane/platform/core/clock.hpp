// Wall clock, and times as JWT claims hold them (RFC 7519, section 2, NumericDate).
#pragma once

#include <chrono>

namespace Torvane {

/// A time as seconds since 1970-01-01T00:00:00Z, with its fraction of a second.
[[nodiscard]] inline double toSeconds(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

/// Seconds since 1970-01-01T00:00:00Z as a time. What the clock cannot hold becomes its first or last time; with
/// nanoseconds in 64 bits these are in the years 1677 and 2262. NaN becomes the first.
[[nodiscard]] inline std::chrono::system_clock::time_point toTime(double seconds) {
    using Time = std::chrono::system_clock::time_point;
    if (!(seconds > toSeconds(Time::min()))) return Time::min();
    if (seconds >= toSeconds(Time::max())) return Time::max();
    return Time(std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(seconds)));
}

/// The system clock's time in seconds since 1970-01-01T00:00:00Z, with its fraction of a second.
[[nodiscard]] inline double secondsSince1970() {
    return toSeconds(std::chrono::system_clock::now());
}

}  // namespace Torvane
