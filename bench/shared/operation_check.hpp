// Check of an operation before it is measured: whether it works, and whether it is the same work for all parties.
#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// Tries the operation; returns why it cannot be measured, or an empty string. A child process exchanges tokens between
/// the party and its partner, in both directions for small messages. Each call may take 20 seconds, the process 8 GiB.
std::string tryOperation(const std::string& who, const std::string& what, const std::string& enc, std::size_t size);

/// How a party's work differs from that of torvane; empty if it does not.
std::string describeDifference(const std::string& who, const std::string& enc);

}  // namespace Bench
