#include "torvane/jwt/json_web_structure.hpp"

#include <gtest/gtest.h>

#include "torvane/support/errors.hpp"

#include "tests/testing/expect_error.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;
using namespace Torvane;

JOSEError badPart(const std::string& part) {
    return JOSEError::invalidJOSEComponent("Component is not valid base64: " + part);
}

TEST(JsonWebStructure, KnowsTheThreePartsOfAJWS) {
    const JsonWebStructure structure("eyJhIjoxfQ.e30.AQID");  // {"a":1}, {} and 1, 2, 3
    EXPECT_EQ(structure.getHeader(), (JSONValue::Object{{"a", 1}}));
    EXPECT_EQ(structure.getRawPayload(), bytesOf("{}"));
    EXPECT_EQ(structure.getSignature(), (ByteBuffer{1, 2, 3}));
    EXPECT_EQ(structure.getEncryptedKey(), std::nullopt);
    EXPECT_EQ(structure.getInitializationVector(), std::nullopt);
    EXPECT_EQ(structure.getAuthenticationTag(), std::nullopt);
}

TEST(JsonWebStructure, ReadsBytesAsText) {
    const auto token = bytesOf("eyJhIjoxfQ.e30.AQID");
    EXPECT_EQ(JsonWebStructure(token).components, JsonWebStructure(asText(token)).components);
    EXPECT_EQ(JsonWebStructure(ByteView(token)).getSignature(), (ByteBuffer{1, 2, 3}));
    EXPECT_EQ(JsonWebStructure::readHeader(token), (JSONValue::Object{{"a", 1}}));
}

TEST(JsonWebStructure, KnowsTheFivePartsOfAJWE) {
    const JsonWebStructure structure("e30.AQ.Ag.Aw.BA");
    EXPECT_EQ(structure.getHeader(), JSONValue::Object());
    EXPECT_EQ(structure.getEncryptedKey(), ByteBuffer{1});
    EXPECT_EQ(structure.getInitializationVector(), ByteBuffer{2});
    EXPECT_EQ(structure.getRawPayload(), ByteBuffer{3});
    EXPECT_EQ(structure.getAuthenticationTag(), ByteBuffer{4});
    EXPECT_EQ(structure.getSignature(), std::nullopt);
}

TEST(JsonWebStructure, OnlyHeaderOfAcceptsAnEmptyPayload) {
    EXPECT_ERROR(JsonWebStructure{"e30..AQ"}, badPart(""));
    EXPECT_EQ(JsonWebStructure::readHeader("eyJhIjoxfQ..AQ"), (JSONValue::Object{{"a", 1}}));
    EXPECT_ERROR(JsonWebStructure::readHeader("e30..*"), badPart("*"));
}

TEST(JsonWebStructure, ATokenOfAnotherNumberOfPartsHasNoHeader) {
    for (const auto* token : {"e30.e30", "e30.e30.e30.e30", "e30.e30.e30.e30.e30.e30"}) {
        EXPECT_EQ(JsonWebStructure::readHeader(token), std::nullopt) << token;
        EXPECT_EQ(JsonWebStructure(token).getHeader(), std::nullopt) << token;
    }
}

TEST(JsonWebStructure, IndicesOutOfRangeReturnNothing) {
    JsonWebStructure structure("e30.e30.AQID");
    structure.payloadIndex = 7;
    EXPECT_EQ(structure.getRawPayload(), std::nullopt);
    structure.headerIndex = 3;
    EXPECT_EQ(structure.getHeader(), std::nullopt);
    structure.keyIndex = 2;
    EXPECT_EQ(structure.getEncryptedKey(), (ByteBuffer{1, 2, 3}));
}

TEST(JsonWebStructureDeathTest, ANegativeIndexStopsTheProcess) {
    JsonWebStructure structure("e30.e30.AQID");
    structure.payloadIndex = -1;
    EXPECT_DEATH(static_cast<void>(structure.getRawPayload()), "torvane: a component index is negative\n");
}

}  // namespace
