// Reader of the parts of a compact token, for JWS and JWE, and the size of chunks.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/error.hpp"

namespace Torvane::JOSE {

/// The size of a chunk, in bytes and in base64url characters: whole groups of three bytes, and little enough to stay in
/// the cache from one step to the next.
inline constexpr std::size_t bytesPerChunk = 6144, charactersPerChunk = base64urlSize(bytesPerChunk);

/// The parts of a token, still encoded. The last but one, payload or ciphertext, is the long one.
template <std::size_t Count>
using CompactParts = std::array<std::string_view, Count>;

template <std::size_t Count>
[[noreturn]] void rejectPartCount() {
    throw JOSESwiftError::parsingFailed("The compact serialisation does not have " + std::to_string(Count) + " parts.");
}

/// @throws JOSESwiftError parsingFailed when the size is above the limit; both in bytes.
inline void requireSizeWithin(std::size_t limit, std::size_t size, const char* what) {
    if (size > limit) {
        throw JOSESwiftError::parsingFailed("The " + std::string(what) + " is longer than " + std::to_string(limit) +
                                            " bytes.");
    }
}

/// Checks tokenBytes and headerBytes.
/// @throws JOSESwiftError parsingFailed when the token is beyond the limits.
inline void requireWithin(const Limits& limits, ByteView compact) {
    requireSizeWithin(limits.tokenBytes, compact.size(), "token");
    const auto dot = asText(compact).find('.');
    if (dot != std::string_view::npos) requireSizeWithin(limits.headerBytes, base64urlDecodedSize(dot), "header");
}

/// Returns read(parts). The token is split at its first dots and at its last one; the long part between them is scanned
/// for extra dots only if the header is long or read() throws.
/// @throws JOSESwiftError parsingFailed for a token beyond the limits; then for another number of parts, in preference
///         to what read() throws.
template <std::size_t Count, class Read>
auto readCompact(ByteView compact, const Limits& limits, Read read) {
    requireWithin(limits, compact);
    auto text = asText(compact);
    CompactParts<Count> parts;
    for (std::size_t i = 0; i + 1 < Count; ++i) {
        const auto dot = i + 2 < Count ? text.find('.') : text.rfind('.');
        if (dot == std::string_view::npos) rejectPartCount<Count>();
        parts[i] = text.substr(0, dot);
        text.remove_prefix(dot + 1);
    }
    parts.back() = text;
    const auto requireCount = [&parts] {
        if (parts[Count - 2].find('.') != std::string_view::npos) rejectPartCount<Count>();
    };
    // Decoding a header of this length costs more than the scan.
    if (parts.front().size() > charactersPerChunk) requireCount();
    try {
        return read(parts);
    } catch (const JOSESwiftError&) {
        requireCount();
        throw;
    }
}

/// @throws JOSESwiftError parsingFailed, always.
[[noreturn]] inline void rejectPart(std::string_view name) {
    throw JOSESwiftError::parsingFailed("The " + std::string(name) + " is not valid base64url.");
}

/// @throws JOSESwiftError parsingFailed, with the part's name, when the part is not canonical unpadded base64url.
inline ByteBuffer decodePart(std::string_view part, std::string_view name) {
    auto bytes = decodeBase64url(part);
    if (!bytes) rejectPart(name);
    return *std::move(bytes);
}

}  // namespace Torvane::JOSE
