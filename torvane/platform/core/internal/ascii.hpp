// ASCII letters and hexadecimal digits, the same in every locale.
#pragma once

#include <cstdint>
#include <string>

namespace Torvane {

/// The letter in lower case; any other character as it is.
[[nodiscard]] constexpr char toLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// The last `digits` hexadecimal digits of a number, in lower case.
[[nodiscard]] inline std::string encodeHex(std::uint32_t value, int digits) {
    std::string text;
    for (int i = digits - 1; i >= 0; --i) text += "0123456789abcdef"[value >> (4 * i) & 0xFU];
    return text;
}

}  // namespace Torvane
