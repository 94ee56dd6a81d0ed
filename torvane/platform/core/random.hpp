// The secure random source.
#pragma once

#include <span>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Fills the bytes from the operating system's seeded generator. A failure stops the process: a key, nonce or
/// identifier must never be weak.
TORVANE_EXPORT void secRandomCopyBytes(std::span<std::uint8_t> bytes) noexcept;

}  // namespace Torvane
