// The part of a text that cannot hold a PIN; see also cutPin() in key_uri.hpp.
#pragma once

#include <string_view>

namespace Torvane {

/// The text before the first "=", or "%3D", that follows a name with "pin" in it, for example "pin-value" or "PIN".
std::string_view cutPinAttribute(std::string_view text) noexcept;

}  // namespace Torvane
