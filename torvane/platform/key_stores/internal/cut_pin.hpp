// The part of a text that cannot hold a PIN; see also cutPin() in key_uri.hpp.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "torvane/platform/core/lifetimebound.hpp"

namespace Torvane {

/// The character that the first three characters of a text encode, as "%3D"; nothing for other text.
std::optional<char> decodePercent(std::string_view text) noexcept;

/// The text before the first "=", or "%3D", that follows a name with "pin" in it, for example "pin-value" or "PIN". Any
/// character of the name may be percent-encoded.
std::string_view cutPinAttribute(std::string_view text TORVANE_LIFETIMEBOUND) noexcept;

/// The beginning of a text, with "..." after it unless it is the whole text.
std::string markIfCut(std::string_view beginning, std::string_view text);

}  // namespace Torvane
