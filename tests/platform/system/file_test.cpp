#include "torvane/platform/system/file.hpp"

#include <gtest/gtest.h>

#include "tests/testing/expect_error.hpp"
#include "tests/testing/temporary_folder.hpp"

namespace {

using namespace Torvane;

std::string contentOf(const std::string& path) {
    ByteBuffer content(100);
    content.resize(System::File::openForReading(path).read(content));
    return std::string(asText(content));
}

TEST(NewFile, LeavesNothingBehindUnlessItIsFinished) {
    const Testing::TemporaryFolder folder;
    const std::string path = folder / "file";
    System::NewFile(path).write(asBytes("lost"));
    EXPECT_ERROR_TEXT(contentOf(path), "\"No such file or directory\"");

    System::NewFile kept(path);
    kept.write(asBytes("kept"));
    kept.finish();
    EXPECT_ERROR_TEXT(System::NewFile(path), "\"File exists\"");
    System::NewFile(path, 0600).write(asBytes("a replacement that is lost"));
    EXPECT_EQ(contentOf(path), "kept");

    System::NewFile replacement(path, 0600);
    replacement.write(asBytes("new"));
    EXPECT_EQ(contentOf(path), "kept");
    replacement.finish();
    EXPECT_EQ(contentOf(path), "new");
    const std::filesystem::directory_iterator files(std::filesystem::path(path).parent_path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
    EXPECT_EQ(System::findReplacementMode(path), 0600U);
    EXPECT_EQ(System::findReplacementMode("/dev/null"), std::nullopt);
}

TEST(File, IsCreatedWithTheModeOfAReplacement) {
    const Testing::TemporaryFolder folder;
    const std::string path = folder / "file";
    const auto mode = System::findReplacementMode(path);
    for (const std::string_view content : {"longer", "short"}) {
        const auto file = System::File::openForWriting(path);
        EXPECT_FALSE(file.isTerminal());
        file.write(asBytes(content));
        EXPECT_EQ(contentOf(path), content);
        EXPECT_EQ(System::findReplacementMode(path), mode);
    }
}

}  // namespace
