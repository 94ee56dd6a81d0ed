// Text from strangers, made safe for terminals and logs.
//
//     std::clog << Torvane::makePrintable(Torvane::asText(theirToken)) << '\n';  // one line, about 500 bytes at most
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "torvane/platform/core/export.hpp"

namespace Torvane {

/// The text with everything escaped that a terminal could act on or a reader of a log could be misled by: controls,
/// line breaks, characters that change the writing direction or cannot be seen, and bytes that are not UTF-8. The texts
/// of many errors quote what a peer sent, without a bound.
/// @param text any bytes.
/// @param maximumSize size in bytes from which on the result is cut; "... (SIZE bytes)" then tells the size of the
///        text.
/// @param alsoEscaped ASCII characters that get a backslash.
/// @returns one line in UTF-8. Escapes are those of JSON ("\n", "\u001b"), and "\x9b" for a byte that is not UTF-8.
[[nodiscard]] TORVANE_EXPORT std::string makePrintable(std::string_view text, std::size_t maximumSize = 500,
                                                       std::string_view alsoEscaped = {});

}  // namespace Torvane
