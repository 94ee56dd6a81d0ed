#include <gtest/gtest.h>

#include "torvane/keys/json_web_key_set.hpp"

namespace Torvane {
namespace {

// One valid key on secp256k1, one on P-256.
TEST(WithoutSecp256k1, AKeyOnItDoesNotMakeTheSetUnreadable) {
    const auto known = JsonWebKeySet::readKnown(R"({"keys":[
        {"kty":"EC","crv":"secp256k1","kid":"k1","use":"sig","x":"eb5mfvncu6xVoGKVzocLBwKb_NstzijZWfKBWxb4F5g",
         "y":"SDradyajxGVdpPv8DhEIqP0XtEimhVQZnEfQj_sQ1Lg"},
        {"kty":"EC","crv":"P-256","kid":"p1","use":"sig","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU",
         "y":"x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0"}]})");
    ASSERT_EQ(known.set.jwks.size(), 1U);
    EXPECT_EQ(known.set.jwks[0].keyId(), "p1");
    ASSERT_EQ(known.leftOut.size(), 1U);
    EXPECT_EQ(known.leftOut[0].keyId, "k1");
    EXPECT_EQ(known.leftOut[0].reason, "This build of the library has no secp256k1 keys.");
}

}  // namespace
}  // namespace Torvane
