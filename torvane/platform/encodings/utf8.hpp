// UTF-8 test, and conversions between bytes and text.
#pragma once

#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Whether the bytes are UTF-8 (RFC 3629): without overlong forms, surrogates, or characters beyond U+10FFFF.
[[nodiscard]] TORVANE_EXPORT bool isUTF8(ByteView bytes) noexcept;

/// The bytes as text, copied; an empty string when they are not UTF-8.
[[nodiscard]] TORVANE_EXPORT std::string convertToString(ByteView bytes);

/// The text's bytes, copied and not checked to be UTF-8.
[[nodiscard]] TORVANE_EXPORT ByteBuffer convertToData(std::string_view text);

}  // namespace Torvane

namespace Torvane::Zennet {

using Torvane::convertToData;
using Torvane::convertToString;
using Torvane::isUTF8;

}  // namespace Torvane::Zennet
