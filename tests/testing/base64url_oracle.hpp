// Oracle for base64url: compares the library's encoders and decoders with a naive one that works on a text of bits.
#pragma once

#include <bitset>
#include <optional>

#include "torvane/platform/encodings/base64.hpp"

#include "tests/testing/oracle.hpp"
#include "tests/testing/vectors.hpp"

namespace Testing {

using namespace Torvane;

inline std::string naiveBase64url(ByteView bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string bits, text;
    for (const auto byte : bytes) bits += std::bitset<8>(byte).to_string();
    while (bits.size() % 6 != 0) bits += '0';
    for (std::size_t i = 0; i < bits.size(); i += 6) text += alphabet[std::bitset<6>(bits, i, 6).to_ulong()];
    return text;
}

/// The bytes that a lenient decoder reads from the text; nothing unless encoding them again gives the same text.
inline std::optional<ByteBuffer> naiveDecoding(const std::string& text) try {
    const auto bytes = fromBase64(text);
    return naiveBase64url(bytes) == text ? std::optional(bytes) : std::nullopt;
} catch (const std::runtime_error&) {
    return std::nullopt;
}

/// Whether the text is valid. Throws unless all decoders agree on that and on the bytes.
inline bool isBase64urlToAll(std::string_view text) {
    const auto expected = naiveDecoding(std::string(text));
    const auto secret = decodeSecretBase64url(text);
    require(decodeBase64url(text) == expected, "decodeBase64url() agrees with the naive decoder");
    require((secret ? std::optional(ByteBuffer(secret->begin(), secret->end())) : std::nullopt) == expected,
            "decodeSecretBase64url() agrees with the naive decoder");
    require(isBase64url(text) == expected.has_value(), "isBase64url() agrees with the naive decoder");
    for (const std::size_t gap : {0U, 5U}) {
        ByteBuffer memory(gap);
        memory.insert(memory.end(), text.begin(), text.end());
        const auto size = decodeBase64url(asText(memory).substr(gap), memory);
        memory.resize(size.value_or(0));
        require((size ? std::optional(memory) : std::nullopt) == expected,
                "decoding in place agrees with the naive decoder");
    }
    return expected.has_value();
}

/// The text for the bytes. Throws unless all encoders agree on it.
inline std::string base64urlByAll(ByteView bytes) {
    auto text = naiveBase64url(bytes);
    require(encodeBase64url(bytes) == text, "encodeBase64url() agrees with the naive encoder");
    ByteBuffer written(text.size());
    require(encodeBase64url(bytes, written) == text.size() && asText(written) == text,
            "encodeBase64url() into memory agrees with the naive encoder");
    for (const auto append : {appendBase64url, appendSecretBase64url}) {
        ByteBuffer appended{1, 2, 3};
        append(appended, bytes);
        require(asText(appended) == "\1\2\3" + text, "appending agrees with the naive encoder");
    }
    require(base64urlSize(bytes.size()) == text.size(), "base64urlSize() is the size of the text");
    return text;
}

}  // namespace Testing
