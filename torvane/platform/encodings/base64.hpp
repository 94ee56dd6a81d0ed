// base64url without padding (RFC 7515, section 2), and standard base64 (RFC 4648, section 4).
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Characters that `size` bytes take in base64url.
constexpr std::size_t base64urlSize(std::size_t size) noexcept {
    return size / 3 * 4 + (size % 3 * 4 + 2) / 3;
}

/// One line of base64urlSize(bytes.size()) characters.
TORVANE_EXPORT std::string encodeBase64url(ByteView bytes);

/// Appends the text to a buffer; nothing is copied when the buffer has room for base64urlSize(bytes.size()) more.
TORVANE_EXPORT void appendBase64url(ByteBuffer& out, ByteView bytes);

/// Writes the text to `out`, which has room for base64urlSize(bytes.size()) characters, and returns how many it wrote.
TORVANE_EXPORT std::size_t encodeBase64url(ByteView bytes, std::span<std::uint8_t> out) noexcept;

/// The decoded bytes; nothing for a character outside the alphabet (padding and white space among them), for
/// a length that no bytes have, and for unused bits that are not zero: each byte sequence has exactly one text.
TORVANE_EXPORT std::optional<ByteBuffer> decodeBase64url(std::string_view text);

/// The same into `out`, which has room for the bytes (three for each four characters, rounded down) and may be the
/// memory of the text itself, or begin in front of it. Returns how many it wrote; after a failure they mean nothing.
TORVANE_EXPORT std::optional<std::size_t> decodeBase64url(std::string_view text, std::span<std::uint8_t> out) noexcept;

/// Whether decodeBase64url() would give something; nothing is decoded.
TORVANE_EXPORT bool isBase64url(std::string_view text) noexcept;

/// @{
/// appendBase64url() and decodeBase64url() for secrets: time and memory access do not depend on the bytes, only on
/// their number and on whether the text decodes, which it does into a buffer that is wiped.
TORVANE_EXPORT void appendSecretBase64url(ByteBuffer& out, ByteView bytes);
TORVANE_EXPORT std::optional<SecretBuffer> decodeSecretBase64url(std::string_view text);
/// @}

/// Standard base64 with "+", "/" and "=" padding, without line breaks.
TORVANE_EXPORT std::string encodeBase64(ByteView bytes);

}  // namespace Torvane
