#include "torvane/platform/encodings/utf8.hpp"

#include <algorithm>

#include "torvane/platform/core/internal/code_points.hpp"

namespace Torvane {

bool isUTF8(ByteView bytes) noexcept {
    const auto isAscii = [](std::uint8_t byte) { return byte < 0x80; };
    for (auto rest = bytes;;) {
        const auto next = std::find_if_not(rest.begin(), rest.end(), isAscii);
        if (next == rest.end()) return true;
        rest = rest.subspan(static_cast<std::size_t>(next - rest.begin()));
        const auto size = readCodePoint(asText(rest)).size;
        if (size == 0) return false;
        rest = rest.subspan(size);
    }
}

std::string convertToString(ByteView bytes) {
    return isUTF8(bytes) ? std::string(asText(bytes)) : std::string();
}

ByteBuffer convertToData(std::string_view text) {
    const auto bytes = asBytes(text);
    return {bytes.begin(), bytes.end()};
}

}  // namespace Torvane
