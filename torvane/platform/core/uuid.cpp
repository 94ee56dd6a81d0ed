#include "torvane/platform/core/uuid.hpp"

#include <array>
#include <string_view>

#include "torvane/platform/core/random.hpp"

namespace Torvane {

std::string randomUUID() {
    std::array<std::uint8_t, 16> bytes{};
    secRandomCopyBytes(bytes);
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // variant of RFC 9562
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

}  // namespace Torvane
