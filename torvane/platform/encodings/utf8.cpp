#include "torvane/platform/encodings/utf8.hpp"

#include <algorithm>

#include <openssl/asn1.h>

namespace Torvane {

bool isUTF8(ByteView bytes) noexcept {
    const auto isAscii = [](std::uint8_t byte) { return byte < 0x80; };
    for (auto rest = bytes;;) {
        const auto next = std::find_if_not(rest.begin(), rest.end(), isAscii);
        if (next == rest.end()) return true;
        rest = rest.subspan(static_cast<std::size_t>(next - rest.begin()));
        unsigned long character = 0;
        const int longest = static_cast<int>(std::min<std::size_t>(rest.size(), 4));
        const int size = UTF8_getc(rest.data(), longest, &character);
        if (size <= 0 || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) return false;
        rest = rest.subspan(static_cast<std::size_t>(size));
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
