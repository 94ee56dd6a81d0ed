// Code points of UTF-8 text, and which of them must not be printed.
#pragma once

#include <cstddef>
#include <string_view>

namespace Torvane {

/// A code point and its size in bytes.
struct CodePoint {
    char32_t code;
    /// 0 for a byte that is not part of UTF-8; `code` is then that byte.
    std::size_t size;
};

/// The first code point of a text that is not empty. UTF-8 is read as RFC 3629 says: without overlong forms,
/// surrogates, or characters beyond U+10FFFF.
[[nodiscard]] CodePoint readCodePoint(std::string_view text) noexcept;

/// Whether a terminal or a reader of a log may be misled by the character: controls (C0, DEL, C1), line separators, and
/// characters that change the writing direction or cannot be seen.
[[nodiscard]] bool isUnsafeToPrint(char32_t code) noexcept;

}  // namespace Torvane
