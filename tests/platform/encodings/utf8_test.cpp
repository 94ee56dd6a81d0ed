#include "torvane/platform/encodings/utf8.hpp"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace Torvane;

TEST(Text, OnlyUtf8BecomesAString) {
    for (const std::string text : {"", "plain", "\xC3\xA9", "\xE2\x82\xAC", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(text)), text);
        EXPECT_TRUE(Zennet::isUTF8(asBytes(text)));
    }
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(withNul)), withNul);
    for (const std::string text : {"\xff", "a\x80", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                   "\xF8\x88\x80\x80\x80", "\xE2\x82", "ok\xC3"}) {
        EXPECT_FALSE(Zennet::isUTF8(asBytes(text))) << text;
        EXPECT_EQ(Zennet::convertToString(Zennet::convertToData(text)), "");
    }
}

}  // namespace
