#include "torvane/platform/core/printable_text.hpp"

#include <gtest/gtest.h>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/code_points.hpp"

namespace {

using namespace std::string_literals;
using Torvane::debugQuoted;
using Torvane::makePrintable;

struct PrintedText {
    std::string text, printable, quoted;
};

TEST(PrintableText, NothingForgesALogLineOrReachesATerminal) {
    const std::vector<PrintedText> rows{
        {"plain \u00e9\u20ac\U0001F600", "plain \u00e9\u20ac\U0001F600", "\"plain \u00e9\u20ac\U0001F600\""},
        {"a\nb\r\t"s, R"(a\nb\r\t)", R"("a\u{A}b\u{D}\u{9}")"},
        {"\0\x1b[2J"s, R"(\u0000\u001b[2J)", R"("\u{0}\u{1B}[2J")"},
        {"\x7f", R"(\u007f)", R"("\u{7F}")"},
        {"\u009b31m", R"(\u009b31m)", R"("\u{9B}31m")"},
        {"\u061c\u202e\u202c\u2066\u2069", R"(\u061c\u202e\u202c\u2066\u2069)",
         R"("\u{61C}\u{202E}\u{202C}\u{2066}\u{2069}")"},
        {"\u00ad\u180e\u115f\u3164\ufff9", R"(\u00ad\u180e\u115f\u3164\ufff9)",
         R"("\u{AD}\u{180E}\u{115F}\u{3164}\u{FFF9}")"},
        {"\u2028\ufeff", R"(\u2028\ufeff)", R"("\u{2028}\u{FEFF}")"},
        {"\U000E0041", R"(\udb40\udc41)", R"("\u{E0041}")"},
        {"\x9b\xc3(\xed\xa0\x80", R"(\x9b\xc3(\xed\xa0\x80)", R"("\x9B\xC3(\xED\xA0\x80")"},
        {R"("\)", R"("\)", R"("\"\\")"},
    };
    for (const auto& [text, printable, quoted] : rows) {
        EXPECT_EQ(makePrintable(text), printable);
        EXPECT_EQ(debugQuoted(text), quoted);
    }
}

TEST(PrintableText, KnowsWhereEachUnsafeRangeBeginsAndEnds) {
    using Torvane::isUnsafeToPrint;
    using namespace std::string_view_literals;
    for (const auto code :
         U"\0\x1F\x7F\x9F\xAD\x61C\x115F\x1160\x17B4\x17B5\x180E\x200B\x200F\x2028\x202E\x2060\x206F\x3164"
         U"\xFEFF\xFFA0\xFFF0\xFFFB\x1BCA0\x1BCA3\x1D173\x1D17A\xE0000\xE0FFF"sv) {
        EXPECT_TRUE(isUnsafeToPrint(code)) << std::hex << static_cast<std::uint32_t>(code);
    }
    for (const auto code :
         U" ~\xA0\xAC\xAE\x61B\x61D\x115E\x1161\x17B3\x17B6\x180D\x180F\x200A\x2010\x2027\x202F\x205F\x2070\x3163"
         U"\x3165\xFEFE\xFF00\xFF9F\xFFA1\xFFEF\xFFFC\x1BC9F\x1BCA4\x1D172\x1D17B\xDFFFF\xE1000"sv) {
        EXPECT_FALSE(isUnsafeToPrint(code)) << std::hex << static_cast<std::uint32_t>(code);
    }
}

TEST(PrintableText, IsCutWithTheSizeOfTheText) {
    EXPECT_EQ(makePrintable("0123456789", 10), "0123456789");
    EXPECT_EQ(makePrintable("0123456789a", 10), "0123456789... (11 bytes)");
    EXPECT_EQ(makePrintable("123456789\u20ac.", 10), "123456789\u20ac... (13 bytes)") << "a character is not cut";
    EXPECT_EQ(makePrintable(std::string(10'000'000, 'x')), std::string(500, 'x') + "... (10000000 bytes)");
    EXPECT_EQ(makePrintable("", 0), "");
}

TEST(PrintableText, EscapesFurtherCharactersOnRequest) {
    EXPECT_EQ(makePrintable(R"(a"b\c/)", 100, "\"\\"), R"(a\"b\\c/)");
}

}  // namespace
