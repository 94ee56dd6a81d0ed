#include "torvane/platform/core/internal/code_points.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include <openssl/asn1.h>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {
namespace {

constexpr std::array<std::pair<char32_t, char32_t>, 17> unsafe{{
    {0x00, 0x1F},        // C0 controls
    {0x7F, 0x9F},        // DEL and C1 controls
    {0xAD, 0xAD},        // soft hyphen
    {0x61C, 0x61C},      // Arabic letter mark
    {0x115F, 0x1160},    // Hangul fillers
    {0x17B4, 0x17B5},    // Khmer inherent vowels
    {0x180E, 0x180E},    // Mongolian vowel separator
    {0x200B, 0x200F},    // zero width characters and marks of direction
    {0x2028, 0x202E},    // separators, embeddings and overrides
    {0x2060, 0x206F},    // word joiner, isolates and deprecated controls
    {0x3164, 0x3164},    // Hangul filler
    {0xFEFF, 0xFEFF},    // byte order mark
    {0xFFA0, 0xFFA0},    // halfwidth Hangul filler
    {0xFFF0, 0xFFFB},    // unassigned specials and annotations
    {0x1BCA0, 0x1BCA3},  // shorthand controls
    {0x1D173, 0x1D17A},  // musical controls
    {0xE0000, 0xE0FFF},  // tags and variation selectors
}};

}  // namespace

CodePoint readCodePoint(std::string_view text) noexcept {
    const auto bytes = asBytes(text);
    if (bytes[0] < 0x80) return {bytes[0], 1};
    unsigned long code = 0;
    const int size = UTF8_getc(bytes.data(), static_cast<int>(std::min<std::size_t>(bytes.size(), 4)), &code);
    if (size <= 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return {bytes[0], 0};
    return {static_cast<char32_t>(code), static_cast<std::size_t>(size)};
}

bool isUnsafeToPrint(char32_t code) noexcept {
    return std::ranges::any_of(unsafe,
                               [code](const auto& range) { return code >= range.first && code <= range.second; });
}

}  // namespace Torvane
