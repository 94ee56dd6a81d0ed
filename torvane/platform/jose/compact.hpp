// The compact serialisations' common ground: pieces between dots. Not installed.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/services/base64.hpp"

namespace JOSE {

/// Splits at every dot, without looking further than one dot too many.
/// @throws JOSESwiftError parsingFailed for another number of pieces than Count.
template <std::size_t Count>
std::array<std::string_view, Count> splitCompact(std::string_view text) {
    std::array<std::string_view, Count> pieces;
    for (std::size_t i = 0; i < Count; ++i) {
        const auto dot = text.find('.');
        const bool isLast = i + 1 == Count;
        if (isLast != (dot == std::string_view::npos)) {
            throw JOSESwiftError::parsingFailed("The compact serialisation does not have " + std::to_string(Count) +
                                                " parts.");
        }
        pieces[i] = text.substr(0, dot);
        if (!isLast) text.remove_prefix(dot + 1);
    }
    return pieces;
}

/// @throws JOSESwiftError parsingFailed, always.
[[noreturn]] inline void refusePiece(std::string_view part) {
    throw JOSESwiftError::parsingFailed("The " + std::string(part) + " is not valid base64url.");
}

/// @throws JOSESwiftError parsingFailed, naming the part, when the piece is not canonical unpadded base64url.
inline Platform::ByteBuffer decodePiece(std::string_view piece, std::string_view part) {
    auto bytes = Platform::decodeBase64url(piece);
    if (!bytes) refusePiece(part);
    return *std::move(bytes);
}

}  // namespace JOSE
