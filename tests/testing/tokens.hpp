// Taking compact tokens apart and putting them together again, without the library.
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "torvane/platform/encodings/base64.hpp"

#include "tests/testing/vectors.hpp"

namespace Testing {

using namespace Torvane;

/// The pieces between the dots, still encoded.
inline std::vector<std::string> parts(ByteView token) {
    std::vector<std::string> pieces;
    std::istringstream text(std::string(asText(token)) + '.');
    for (std::string piece; std::getline(text, piece, '.');) pieces.push_back(piece);
    return pieces;
}

inline ByteBuffer joined(const std::vector<std::string>& pieces) {
    std::string text;
    for (const auto& piece : pieces) text += piece + '.';
    text.pop_back();
    return bytesOf(text);
}

/// The header as JSON text.
inline std::string headerText(ByteView token) {
    const auto bytes = fromBase64(parts(token).front());
    return std::string(asText(bytes));
}

/// The token with the lowest bit of one part's first byte flipped.
inline ByteBuffer withFlippedBit(ByteView token, std::size_t part) {
    auto pieces = parts(token);
    auto bytes = fromBase64(pieces.at(part));
    bytes.at(0) ^= 1;
    pieces.at(part) = encodeBase64url(bytes);
    return joined(pieces);
}

/// The token with another header, given as JSON text.
inline ByteBuffer withHeader(ByteView token, std::string_view header) {
    auto pieces = parts(token);
    pieces.front() = encodeBase64url(asBytes(header));
    return joined(pieces);
}

/// A text of a data file: each of the words replaced by what it stands for, then every "{{N*x}}" by N times x.
inline std::string filledIn(std::string text, const std::vector<std::pair<std::string, std::string>>& words = {}) {
    for (const auto& [word, meaning] : words)
        for (auto at = text.find(word); at != text.npos; at = text.find(word)) text.replace(at, word.size(), meaning);
    for (auto at = text.find("{{"); at != text.npos; at = text.find("{{", at)) {
        const auto star = text.find('*', at), end = text.find("}}", star);
        std::string repeated;
        for (auto count = std::stoul(text.substr(at + 2)); count > 0; --count)
            repeated += text.substr(star + 1, end - star - 1);
        text.replace(at, end + 2 - at, repeated);
        at += repeated.size();
    }
    return text;
}

}  // namespace Testing
