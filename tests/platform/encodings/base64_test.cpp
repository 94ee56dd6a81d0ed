#include <limits>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "torvane/platform/encodings/internal/base64_kernel.hpp"

#include "tests/testing/base64url_oracle.hpp"
#include "tests/testing/expect_error.hpp"

namespace {

using namespace Torvane;

// Copies the text to a buffer of exactly its size, so that a sanitizer sees a read beyond the end.
bool isAccepted(const std::string& text) {
    const std::vector<char> exact(text.begin(), text.end());
    return Testing::isBase64urlToAll({exact.data(), exact.size()});
}

TEST(Base64url, RoundTripsEveryLength) {
    std::mt19937 random(20240229);
    for (std::size_t size = 0; size <= 300; ++size) {
        SCOPED_TRACE(size);
        ByteBuffer bytes(size);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
        const auto text = Testing::base64urlByAll(bytes);
        EXPECT_TRUE(isAccepted(text));
        EXPECT_FALSE(isAccepted(text.substr(0, text.size() / 4 * 4) + "A")) << "an impossible length";
        for (const auto* end : {"=", "==", "====", " ", "\r\n"}) EXPECT_FALSE(isAccepted(text + end)) << end;
        auto standard = text + std::string((4 - text.size() % 4) % 4, '=');
        for (auto& c : standard) c = c == '-' ? '+' : c == '_' ? '/' : c;
        EXPECT_EQ(encodeBase64(bytes), standard);
    }
}

// A character that the kernel rejects is still decoded correctly, but slowly, so no other test notices.
TEST(Base64Kernel, ReadsEveryCharacterOfTheAlphabet) {
    ByteBuffer in(96), out(128);
    const bool isWide = Base64Kernel::encode(in.data(), in.size(), out.data()) != 0;
    const bool takesLittle = Base64Kernel::encode(in.data(), 28, out.data()) != 0;
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_")) {
        const ByteBuffer text(128, static_cast<std::uint8_t>(c));
        EXPECT_EQ(Base64Kernel::countValid(text.data(), text.size()), isWide ? 128U : 0U) << c;
        EXPECT_GE(Base64Kernel::decode(text.data(), text.size(), out.data()), isWide ? 96U : 0U) << c;
        EXPECT_EQ(Base64Kernel::decode(text.data(), 44, out.data()), takesLittle ? 32U : 0U) << c;
    }
}

TEST(Base64url, ReadsNothingBeyondTheEnd) {
    std::mt19937 random(20240301);
    for (std::size_t size = 0; size <= 300; ++size) {
        ByteBuffer bytes(size);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
        const auto text = Testing::naiveBase64url(bytes);
        // The buffers end with the bytes and the text, so that a sanitizer sees a read beyond the end.
        for (std::size_t offset = 0; offset < 32; ++offset) {
            SCOPED_TRACE(std::to_string(size) + " bytes at " + std::to_string(offset));
            ByteBuffer movedBytes(offset + size), movedText(offset + text.size());
            std::copy(bytes.begin(), bytes.end(), movedBytes.begin() + static_cast<std::ptrdiff_t>(offset));
            std::copy(text.begin(), text.end(), movedText.begin() + static_cast<std::ptrdiff_t>(offset));
            ASSERT_EQ(encodeBase64url(ByteView(movedBytes).subspan(offset)), text);
            ASSERT_EQ(decodeBase64url(asText(movedText).substr(offset)), bytes);
            ASSERT_TRUE(isBase64url(asText(movedText).substr(offset)));
        }
    }
}

TEST(Base64url, LosesNothingBetweenChunks) {
    std::mt19937 random(20240302);
    for (const std::size_t size : {12288U, 12289U, 24577U, 40000U}) {
        SCOPED_TRACE(size);
        ByteBuffer bytes(size);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
        auto text = Testing::base64urlByAll(bytes);
        EXPECT_TRUE(isAccepted(text));
        for (const std::size_t place : {std::size_t{0}, std::size_t{16383}, text.size() - 1}) {
            const char good = std::exchange(text.at(place), '=');
            EXPECT_FALSE(isAccepted(text)) << place;
            text.at(place) = good;
        }
    }
}

TEST(Base64url, AcceptsOnlyCanonicalCharacters) {
    // A length, and how many values its last character may have; all others may have 64.
    const std::pair<std::size_t, int> cases[] = {{1, 0},  {2, 4},  {3, 16},  {4, 64},  {5, 0},   {6, 4},
                                                 {7, 16}, {8, 64}, {43, 16}, {44, 64}, {96, 64}, {127, 16}};
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

TEST(Base64, RejectsWhatIsTooLongForASize) {
    constexpr std::size_t longest = std::numeric_limits<std::size_t>::max() / 4 * 3 + 2;
    EXPECT_EQ(base64urlSize(longest - 1), std::numeric_limits<std::size_t>::max() - 1);
    EXPECT_EQ(base64urlSize(longest), std::numeric_limits<std::size_t>::max());
    // Nothing is read from these views, which are longer than any memory.
    ByteBuffer one(1);
    const ByteView whole(one.data(), longest), tooLong(one.data(), longest + 1);
    const std::string form = "\"More bytes than memory can hold.\"";
    EXPECT_THROW(static_cast<void>(encodeBase64url(tooLong)), std::length_error);
    EXPECT_ERROR_TEXT(appendBase64url(one, whole), form);
    EXPECT_ERROR_TEXT(appendSecretBase64url(one, whole), form);
    EXPECT_ERROR_TEXT(encodeBase64(whole), form);
}

}  // namespace
