// The compact serialisations' common ground: pieces between dots. Not installed.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/services/base64.hpp"

namespace JOSE {

/// Pieces in their order. The last but one is the long one, the payload or the ciphertext.
template <std::size_t Count>
using CompactPieces = std::array<std::string_view, Count>;

template <std::size_t Count>
[[noreturn]] void refuseCount() {
    throw JOSESwiftError::parsingFailed("The compact serialisation does not have " + std::to_string(Count) + " parts.");
}

/// Splits at the first dots and at the last one, without a look at the long piece between: what dots there are too many
/// stay in it, for refusePiece() to find.
/// @throws JOSESwiftError parsingFailed for fewer pieces.
template <std::size_t Count>
CompactPieces<Count> splitCompact(std::string_view text) {
    CompactPieces<Count> pieces;
    for (std::size_t i = 0; i + 1 < Count; ++i) {
        const auto dot = i + 2 < Count ? text.find('.') : text.rfind('.');
        if (dot == std::string_view::npos) refuseCount<Count>();
        pieces[i] = text.substr(0, dot);
        text.remove_prefix(dot + 1);
    }
    pieces.back() = text;
    return pieces;
}

/// Says what is wrong when a piece is not canonical unpadded base64url.
/// @throws JOSESwiftError parsingFailed, of the number of pieces or naming the part.
template <std::size_t Count>
[[noreturn]] void refusePiece(const CompactPieces<Count>& pieces, std::string_view part) {
    if (pieces[Count - 2].find('.') != std::string_view::npos) refuseCount<Count>();
    throw JOSESwiftError::parsingFailed("The " + std::string(part) + " is not valid base64url.");
}

/// @throws JOSESwiftError as refusePiece().
template <std::size_t Count>
Platform::ByteBuffer decodePiece(const CompactPieces<Count>& pieces, std::size_t index, std::string_view part) {
    auto bytes = Platform::decodeBase64url(pieces[index]);
    if (!bytes) refusePiece(pieces, part);
    return *std::move(bytes);
}

}  // namespace JOSE
