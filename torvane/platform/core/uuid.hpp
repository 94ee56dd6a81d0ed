// Random UUIDs.
#pragma once

#include <string>

#include "torvane/platform/core/export.hpp"

namespace Torvane {

/// A random UUID (RFC 9562, section 5.4) in its canonical form of 36 characters, in upper case.
[[nodiscard]] TORVANE_EXPORT std::string randomUUID();

}  // namespace Torvane
