#include "torvane/platform/primitives/secp256k1_curve.hpp"

#include <cstdlib>

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
namespace Curve = Crypto::Secp256k1;

const auto order = fromHex("fffffffffffffffffffffffffffffffebaaedce6af48a03bbfd25e8cd0364141");
const ByteBuffer ownScalar(32, 7), signedDigest(32, 9);

ByteBuffer pointOf(ByteView privateKey) {
    const auto point = Curve::derivePublicPoint(privateKey);
    return {point.begin(), point.end()};
}

// The difference of two numbers of 32 bytes, of which the first is the larger.
ByteBuffer difference(const ByteBuffer& larger, ByteView smaller) {
    ByteBuffer result(32);
    int borrow = 0;
    for (std::size_t i = 32; i-- > 0;) {
        const int digit = larger[i] - smaller[i] - borrow;
        borrow = digit < 0 ? 1 : 0;
        result[i] = static_cast<std::uint8_t>(digit);
    }
    return result;
}

TEST(Secp256k1, ParsesBothFormsOfAPoint) {
    const auto point = Curve::derivePublicPoint(ownScalar);
    ByteBuffer shortForm(point.begin(), point.begin() + 33);
    shortForm[0] = static_cast<std::uint8_t>(2 + (point[64] & 1));
    EXPECT_EQ(Curve::parsePublicPoint(point), point);
    EXPECT_EQ(Curve::parsePublicPoint(shortForm), point);
    shortForm[0] ^= 1;
    EXPECT_NE(Curve::parsePublicPoint(shortForm), point) << "the other sign of y";
}

TEST(Secp256k1, RejectsOtherFormsOfAPoint) {
    const auto good = pointOf(ownScalar);
    const auto withPrefix = [&](int prefix) {
        auto point = good;
        point[0] = static_cast<std::uint8_t>(prefix);
        return point;
    };
    auto offCurve = good;
    offCurve[64] ^= 1;
    auto tooLong = good;
    tooLong.push_back(0);
    const ByteBuffer short64(good.begin(), good.begin() + 64), oddSize(good.begin(), good.begin() + 33);
    const std::vector<std::pair<const char*, ByteBuffer>> points{{"hybrid, even", withPrefix(6)},
                                                                 {"hybrid, odd", withPrefix(7)},
                                                                 {"compressed prefix", withPrefix(2)},
                                                                 {"no prefix", withPrefix(0)},
                                                                 {"off the curve", offCurve},
                                                                 {"too long", tooLong},
                                                                 {"too short", short64},
                                                                 {"33 bytes, uncompressed", oddSize},
                                                                 {"infinity", {0}},
                                                                 {"infinity, padded", ByteBuffer(65)},
                                                                 {"empty", {}}};
    for (const auto& [name, point] : points) {
        EXPECT_EQ(Curve::parsePublicPoint(point), std::nullopt) << name;
        EXPECT_FALSE(Curve::verify(point, signedDigest, Curve::sign(ownScalar, signedDigest))) << name;
    }
}

TEST(Secp256k1, RejectsScalarsOutOfRange) {
    ByteBuffer one(32), last = order, above = order;
    one[31] = 1;
    --last[31];
    ++above[31];
    for (const auto& good : {one, last}) {
        EXPECT_TRUE(Curve::isPrivateKey(good));
        EXPECT_TRUE(Curve::verify(pointOf(good), signedDigest, Curve::sign(good, signedDigest)));
    }
    for (const auto& bad : {ByteBuffer(32), order, above, ByteBuffer(31, 7), ByteBuffer(33, 7), ByteBuffer()}) {
        EXPECT_FALSE(Curve::isPrivateKey(bad));
        EXPECT_ERROR(Curve::derivePublicPoint(bad),
                     SecurityError("A secp256k1 private key is 32 bytes, from 1 to the order - 1."));
        EXPECT_ERROR(Curve::sign(bad, signedDigest), SecurityError("Failed to sign with a secp256k1 key."));
    }
}

// As a detached thread does while the process exits. Runs in a new process, in which the handler is registered before
// the first signature.
TEST(Secp256k1, SignsWhileTheProcessExits) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static ByteBuffer expected;
    EXPECT_EXIT(
        {
            std::atexit([] {
                if (Curve::sign(ownScalar, signedDigest) != expected) std::_Exit(1);
                std::_Exit(0);
            });
            expected = Curve::sign(ownScalar, signedDigest);
            std::exit(2);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Secp256k1, AcceptsTheHigherS) {
    const auto point = pointOf(ownScalar);
    auto signature = Curve::sign(ownScalar, signedDigest);
    ASSERT_EQ(signature.size(), 64U);
    EXPECT_LT(signature[32], 0x80) << "signing gives the lower s";
    const auto higher = difference(order, ByteView(signature).subspan(32));
    std::copy(higher.begin(), higher.end(), signature.begin() + 32);
    EXPECT_TRUE(Curve::verify(point, signedDigest, signature));
    signature[63] ^= 1;
    EXPECT_FALSE(Curve::verify(point, signedDigest, signature));
}

}  // namespace
