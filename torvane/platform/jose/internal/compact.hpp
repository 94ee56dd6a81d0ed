// The compact serialisations' common ground: pieces between dots.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/error.hpp"

namespace Torvane::JOSE {

/// How much of a token is worked on at a time, as bytes and as the base64url of them: small enough to stay in the cache
/// from step to step, and whole groups of three bytes.
inline constexpr std::size_t bytesAtATime = 6144, textAtATime = base64urlSize(bytesAtATime);

/// Pieces in their order. The last but one is the long one, the payload or the ciphertext.
template <std::size_t Count>
using CompactPieces = std::array<std::string_view, Count>;

template <std::size_t Count>
[[noreturn]] void refuseCount() {
    throw JOSESwiftError::parsingFailed("The compact serialisation does not have " + std::to_string(Count) + " parts.");
}

/// What read(pieces) makes of a text, split at the first dots and at the last one. Nobody looks at the long piece
/// between for more of them, unless the header is long or reading fails.
/// @throws JOSESwiftError parsingFailed for another number of pieces than Count, and before whatever read() throws.
template <std::size_t Count, class Read>
auto readCompact(ByteView compact, Read read) {
    auto text = asText(compact);
    CompactPieces<Count> pieces;
    for (std::size_t i = 0; i + 1 < Count; ++i) {
        const auto dot = i + 2 < Count ? text.find('.') : text.rfind('.');
        if (dot == std::string_view::npos) refuseCount<Count>();
        pieces[i] = text.substr(0, dot);
        text.remove_prefix(dot + 1);
    }
    pieces.back() = text;
    const auto requireCount = [&pieces] {
        if (pieces[Count - 2].find('.') != std::string_view::npos) refuseCount<Count>();
    };
    // A header as long as that costs more than the look.
    if (pieces.front().size() > textAtATime) requireCount();
    try {
        return read(pieces);
    } catch (const JOSESwiftError&) {
        requireCount();
        throw;
    }
}

/// @throws JOSESwiftError parsingFailed, always.
[[noreturn]] inline void refusePiece(std::string_view part) {
    throw JOSESwiftError::parsingFailed("The " + std::string(part) + " is not valid base64url.");
}

/// @throws JOSESwiftError parsingFailed, naming the part, when the piece is not canonical unpadded base64url.
inline ByteBuffer decodePiece(std::string_view piece, std::string_view part) {
    auto bytes = decodeBase64url(piece);
    if (!bytes) refusePiece(part);
    return *std::move(bytes);
}

}  // namespace Torvane::JOSE
