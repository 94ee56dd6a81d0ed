// base64url without padding (RFC 7515, section 2), and a writer of standard base64 (RFC 4648, section 4).
//
// Decoding is strict: of each byte sequence, only the one canonical text is accepted.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// The number of base64url characters for `size` bytes. A number that is too large for a std::size_t becomes the
/// largest one, and no buffer is as long as that.
[[nodiscard]] constexpr std::size_t base64urlSize(std::size_t size) noexcept {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    if (size > most / 4 * 3 + 2) return most;
    return size / 3 * 4 + (size % 3 * 4 + 2) / 3;
}

/// The number of bytes that a valid text of `size` characters encodes.
[[nodiscard]] constexpr std::size_t base64urlDecodedSize(std::size_t size) noexcept {
    return size / 4 * 3 + size % 4 * 3 / 4;
}

/// Encodes to a text of base64urlSize(bytes.size()) characters, without line breaks.
[[nodiscard]] TORVANE_EXPORT std::string encodeBase64url(ByteView bytes);

/// Encodes to the end of a buffer, which does not reallocate when it has room for base64urlSize(bytes.size()) more.
TORVANE_EXPORT void appendBase64url(ByteBuffer& out, ByteView bytes);

/// Encodes to `out`, which has room for base64urlSize(bytes.size()) characters. Returns how many it wrote.
TORVANE_EXPORT std::size_t encodeBase64url(ByteView bytes, std::span<std::uint8_t> out) noexcept;

/// Decodes a text. Returns nothing for a character outside the alphabet (padding and white space included), for an
/// impossible length, and for unused bits that are not zero.
[[nodiscard]] TORVANE_EXPORT std::optional<ByteBuffer> decodeBase64url(std::string_view text);

/// Decodes to `out`, which has room for three bytes for each four characters, rounded down. `out` may be the memory of
/// the text itself, or begin before it. Returns how many bytes it wrote; after a failure the contents of `out` are
/// unspecified.
[[nodiscard]] TORVANE_EXPORT std::optional<std::size_t> decodeBase64url(std::string_view text,
                                                                        std::span<std::uint8_t> out) noexcept;

/// Whether decodeBase64url() would succeed. Allocates nothing.
[[nodiscard]] TORVANE_EXPORT bool isBase64url(std::string_view text) noexcept;

/// @{
/// appendBase64url() and decodeBase64url() for secrets. Time and memory accesses depend only on the number of bytes and
/// on whether the text is valid. The decoded bytes are wiped when they are no longer used.
TORVANE_EXPORT void appendSecretBase64url(ByteBuffer& out, ByteView bytes);
[[nodiscard]] TORVANE_EXPORT std::optional<SecretBuffer> decodeSecretBase64url(std::string_view text);
/// @}

/// Encodes to standard base64 with "+", "/" and "=" padding, without line breaks.
[[nodiscard]] TORVANE_EXPORT std::string encodeBase64(ByteView bytes);

}  // namespace Torvane
