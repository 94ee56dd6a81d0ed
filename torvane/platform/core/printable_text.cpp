#include "torvane/platform/core/printable_text.hpp"

#include <algorithm>

#include "torvane/platform/core/internal/ascii.hpp"
#include "torvane/platform/core/internal/code_points.hpp"

namespace Torvane {
namespace {

// A JSON escape: a letter, or UTF-16 code units.
std::string escape(char32_t code) {
    if (code == '\n') return "\\n";
    if (code == '\r') return "\\r";
    if (code == '\t') return "\\t";
    if (code < 0x10000) return "\\u" + encodeHex(code, 4);
    const auto rest = code - 0x10000;
    return "\\u" + encodeHex(0xD800 + (rest >> 10U), 4) + "\\u" + encodeHex(0xDC00 + (rest & 0x3FFU), 4);
}

}  // namespace

std::string makePrintable(std::string_view text, std::size_t maximumSize, std::string_view alsoEscaped) {
    std::string result;
    for (auto rest = text; !rest.empty();) {
        if (result.size() >= maximumSize) return result + "... (" + std::to_string(text.size()) + " bytes)";
        const auto [code, size] = readCodePoint(rest);
        if (size == 0) {
            result += "\\x" + encodeHex(code, 2);
        } else if (isUnsafeToPrint(code)) {
            result += escape(code);
        } else {
            if (code < 0x80 && alsoEscaped.find(static_cast<char>(code)) != alsoEscaped.npos) result += '\\';
            result += rest.substr(0, size);
        }
        rest.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

}  // namespace Torvane
