// Conversions between bytes and text.
#pragma once

#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Whether the bytes are UTF-8 (RFC 3629): no overlong form, no surrogate, nothing beyond U+10FFFF.
TORVANE_EXPORT bool isUTF8(ByteView bytes) noexcept;

/// The bytes as text; an empty string when they are not UTF-8.
TORVANE_EXPORT std::string convertToString(ByteView bytes);

/// The text's bytes, copied; UTF-8 when the text is.
TORVANE_EXPORT ByteBuffer convertToData(std::string_view text);

}  // namespace Torvane

namespace Torvane::Zennet {

using Torvane::convertToData;
using Torvane::convertToString;
using Torvane::isUTF8;

}  // namespace Torvane::Zennet
