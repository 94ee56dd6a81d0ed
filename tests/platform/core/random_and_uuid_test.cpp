#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/random.hpp"
#include "torvane/platform/core/uuid.hpp"

namespace {

TEST(UUID, IsRandomInCanonicalForm) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const auto uuid = Torvane::randomUUID();
        ASSERT_EQ(uuid.size(), 36U);
        EXPECT_EQ(uuid.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << uuid;
        for (const std::size_t dash : {8U, 13U, 18U, 23U}) EXPECT_EQ(uuid[dash], '-') << uuid;
        EXPECT_EQ(uuid[14], '4') << uuid;
        EXPECT_NE(std::string("89AB").find(uuid[19]), std::string::npos) << uuid;
        EXPECT_TRUE(seen.insert(uuid).second) << uuid;
    }
}

TEST(SecRandom, FillsEveryByte) {
    Torvane::ByteBuffer seen(64, 0);
    for (int i = 0; i < 32; ++i) {
        Torvane::ByteBuffer bytes(64, 0);
        Torvane::secRandomCopyBytes(bytes);
        for (std::size_t j = 0; j < bytes.size(); ++j) seen[j] |= bytes[j];
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 0), 0);
    Torvane::secRandomCopyBytes({});
}

}  // namespace
