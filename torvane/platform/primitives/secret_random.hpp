// Random values that stay secret: private keys, content encryption keys, blindings.
#pragma once

#include <cstdint>
#include <span>

namespace Torvane::Crypto {

/// Fills the bytes from OpenSSL's private random generator, whose output is never sent to anybody. A failure aborts the
/// process. Public values (IVs, UUIDs) come from secRandomCopyBytes().
void fillWithRandomSecret(std::span<std::uint8_t> bytes) noexcept;

}  // namespace Torvane::Crypto
