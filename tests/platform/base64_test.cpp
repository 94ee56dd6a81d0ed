#include "torvane/platform/services/base64.hpp"

#include <bitset>
#include <random>

#include <gtest/gtest.h>

#include "tests/testing/vectors.hpp"

namespace {

using namespace Platform;

// The slow way, through a text of zeros and ones.
std::string naiveEncoding(ByteView bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string bits, text;
    for (const auto byte : bytes) bits += std::bitset<8>(byte).to_string();
    while (bits.size() % 6 != 0) bits += '0';
    for (std::size_t i = 0; i < bits.size(); i += 6) text += alphabet[std::bitset<6>(bits, i, 6).to_ulong()];
    return text;
}

// What a lenient decoder makes of the text, where that has no other text.
std::optional<ByteBuffer> naiveDecoding(const std::string& text) try {
    const auto bytes = Testing::fromBase64(text);
    return naiveEncoding(bytes) == text ? std::optional(bytes) : std::nullopt;
} catch (const std::runtime_error&) {
    return std::nullopt;
}

// Whether the text decodes, once all decoders agree on that and on the bytes.
bool isAccepted(const std::string& text) {
    // A copy without a byte to spare, so that a sanitizer sees a read beyond the end.
    const std::vector<char> exact(text.begin(), text.end());
    const std::string_view view(exact.data(), exact.size());
    const auto expected = naiveDecoding(text);
    const auto secret = decodeSecretBase64url(view);
    EXPECT_EQ(decodeBase64url(view), expected) << text;
    EXPECT_EQ(secret ? std::optional(ByteBuffer(secret->begin(), secret->end())) : std::nullopt, expected);
    EXPECT_EQ(isBase64url(view), expected.has_value()) << text;
    return expected.has_value();
}

TEST(Base64url, EveryLengthGoesThereAndBackByOneTextOnly) {
    std::mt19937 random(20240229);
    for (std::size_t size = 0; size <= 300; ++size) {
        SCOPED_TRACE(size);
        ByteBuffer bytes(size), appended{1, 2, 3};
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
        const auto text = naiveEncoding(bytes);
        EXPECT_EQ(encodeBase64url(bytes), text);
        EXPECT_EQ(base64urlSize(size), text.size());
        appendBase64url(appended, bytes);
        EXPECT_EQ(asText(appended), "\1\2\3" + text);
        EXPECT_TRUE(isAccepted(text));
        EXPECT_FALSE(isAccepted(text.substr(0, text.size() / 4 * 4) + "A")) << "a length that no bytes have";
        for (const auto* end : {"=", "==", "====", " ", "\r\n"}) EXPECT_FALSE(isAccepted(text + end)) << end;
        auto standard = text + std::string((4 - text.size() % 4) % 4, '=');
        for (auto& c : standard) c = c == '-' ? '+' : c == '_' ? '/' : c;
        EXPECT_EQ(encodeBase64(bytes), standard);
    }
}

TEST(Base64url, RefusesEveryByteOutsideTheAlphabetAndEveryUnusedBitAtEveryPlace) {
    // A length, and how many values its last character can have; any other can have 64.
    const std::pair<std::size_t, int> cases[] = {{1, 0}, {2, 4},  {3, 16}, {4, 64},  {5, 0},
                                                 {6, 4}, {7, 16}, {8, 64}, {43, 16}, {44, 64}};
    for (const auto& [length, accepted] : cases) {
        for (std::size_t place = 0; place < length; ++place) {
            SCOPED_TRACE(std::to_string(length) + " characters, place " + std::to_string(place));
            int count = 0;
            for (int byte = 0; byte < 256; ++byte) {
                const auto text = std::string(length, 'A').replace(place, 1, 1, static_cast<char>(byte));
                count += isAccepted(text) ? 1 : 0;
            }
            EXPECT_EQ(count, accepted != 0 && place + 1 < length ? 64 : accepted);
        }
    }
}

}  // namespace
