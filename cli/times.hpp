// Durations and times as people write them.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace Command {

/// A duration such as "30s", "10 min", "1h30m", "2 days", "1w" or "-1m", up to 100 years. A month has no fixed length.
/// @param option that the text was given to, for the error.
/// @throws Failure
std::chrono::seconds parseDuration(std::string_view option, const std::string& text);

/// Seconds since 1970: of a duration after `now`, of a date ("2026-12-01", which means midnight UTC), of a time
/// ("2026-12-01T10:00:00Z" or with an offset such as "+02:00"), or of a number from 1000000000 on.
/// @throws Failure
std::int64_t parseTime(std::string_view option, const std::string& text, double now);

}  // namespace Command
