// Secure random bytes.
#pragma once

#include <span>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Fills the bytes from OpenSSL's random generator, which the operating system seeds. A failure aborts the process, so
/// that no key, nonce or identifier is ever weak. May be called from several threads at once.
TORVANE_EXPORT void secRandomCopyBytes(std::span<std::uint8_t> bytes) noexcept;

}  // namespace Torvane
