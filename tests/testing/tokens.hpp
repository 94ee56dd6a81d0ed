// Splitting, changing and joining compact tokens, without the library's parser.
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "torvane/platform/encodings/base64.hpp"

#include "tests/testing/vectors.hpp"

namespace Testing {

using namespace Torvane;

/// The parts of a token, still encoded.
inline std::vector<std::string> parts(ByteView token) {
    std::vector<std::string> found;
    std::istringstream text(std::string(asText(token)) + '.');
    for (std::string part; std::getline(text, part, '.');) found.push_back(part);
    return found;
}

inline ByteBuffer joined(const std::vector<std::string>& encodedParts) {
    std::string text;
    for (const auto& part : encodedParts) text += part + '.';
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
    auto changed = parts(token);
    auto bytes = fromBase64(changed.at(part));
    bytes.at(0) ^= 1;
    changed.at(part) = encodeBase64url(bytes);
    return joined(changed);
}

/// The token with another header, given as JSON text.
inline ByteBuffer withHeader(ByteView token, std::string_view header) {
    auto changed = parts(token);
    changed.front() = encodeBase64url(asBytes(header));
    return joined(changed);
}

/// Expands a text of a data file: replaces each word by its meaning, then each "{{N*x}}" by x repeated N times.
inline std::string filledIn(std::string text, const std::vector<std::pair<std::string, std::string>>& words = {}) {
    for (const auto& [word, meaning] : words) {
        for (auto at = text.find(word); at != text.npos; at = text.find(word)) text.replace(at, word.size(), meaning);
    }
    for (auto at = text.find("{{"); at != text.npos; at = text.find("{{", at)) {
        const auto star = text.find('*', at), end = text.find("}}", star);
        std::string repeated;
        for (auto count = std::stoul(text.substr(at + 2)); count > 0; --count) {
            repeated += text.substr(star + 1, end - star - 1);
        }
        text.replace(at, end + 2 - at, repeated);
        at += repeated.size();
    }
    return text;
}

}  // namespace Testing
