#include "torvane/platform/jose/jwk.hpp"

#include "torvane/platform/jose/jwk_set.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using JOSE::JWK;
using JOSE::JWKSet;

const auto unsupported = JOSESwiftError::unsupportedKey;
const auto otherType = unsupported("The JWK is neither an RSA nor an EC key.");

json privateJwkOf(const std::string& kid) {
    return json::parse(keyText(kid, "jwk_private"));
}

JWK publicFrom(const json& jwk) {
    return JWK::initFrom(jwk.dump());
}

JWK privateFrom(const json& jwk) {
    return JWK::initPrivateFrom(jwk.dump());
}

// A set with the key between two good ones.
JWKSet setOf(const json& jwk) {
    const auto good = privateJwkOf(ecP256);
    return JWKSet::initFrom(json{{"keys", {good, jwk, good}}}.dump());
}

// A private JWK with members replaced, or one of them removed.
json faulty(const json& row) {
    auto jwk = privateJwkOf(row["kid"]);
    if (const auto edit = json::parse(filledIn(row["edit"].dump())); edit.is_object()) {
        jwk.update(edit);
    } else {
        jwk.erase(edit.get<std::string>());
    }
    return jwk;
}

std::vector<std::string> namesOf(const JWK& jwk) {
    std::vector<std::string> names;
    for (const auto& [name, value] : jwk.parameters()) names.push_back(name);
    return names;
}

TEST(JWK, RejectsMalformedPublicMembers) {
    forEachHostileRow("hostile_keys.json", "publicMembers", 57, [](const json& row) {
        EXPECT_ERROR_TEXT(publicFrom(faulty(row)), row["error"]);
        EXPECT_ERROR_TEXT(privateFrom(faulty(row)), row["error"]);
        setOf(faulty(row));
    });
}

TEST(JWK, RejectsMalformedPrivateMembers) {
    forEachHostileRow("hostile_keys.json", "privateMembers", 52, [](const json& row) { privateFrom(faulty(row)); });
}

TEST(JWK, RejectsPrivateMembersOfAnotherKey) {
    forEachHostileRow("hostile_keys.json", "mixedPairs", 16, [](const json& row) { privateFrom(faulty(row)); });
}

TEST(JWK, RejectsInvalidPublicKeysWhenConverted) {
    forEachHostileRow("hostile_keys.json", "noKeys", 7, [](const json& row) {
        EXPECT_ERROR_TEXT(privateFrom(faulty(row)), row["error"]);
        static_cast<void>(publicFrom(faulty(row)).converted());
    });
}

TEST(JWK, KeepsOnlyPublicStringMembers) {
    auto full = privateJwkOf(rsaSig);
    const json expected{{"kty", "RSA"}, {"n", full["n"]}, {"e", full["e"]}, {"kid", rsaSig},
                        {"use", "sig"}, {"alg", "RS256"}, {"a/b", "\u00e9"}};
    full.update({{"key_ops", {"sign"}}, {"x5c", {"MII"}}, {"ext", true}, {"k", "c2VjcmV0"}, {"a/b", "\u00e9"}});
    const auto own = privateFrom(full);
    EXPECT_FALSE(own.converted().isPublicKey());
    EXPECT_TRUE(own.publicHalf().converted().isPublicKey());
    EXPECT_TRUE(publicFrom(full).converted().isPublicKey());
    EXPECT_EQ(own.converted().publicComponents(), publicKey(rsaSig).publicComponents());
    full["oth"] = json::array({{{"r", "AQ"}, {"d", "AQ"}, {"t", "AQ"}}});
    for (const auto& jwk : {own, own.publicHalf(), publicFrom(full), setOf(full).keys().at(1)}) {
        EXPECT_EQ(json(jwk.parameters()), expected);
        EXPECT_EQ(json::parse(jwk.jsonString().value()), expected);
        EXPECT_EQ(bytesOf(jwk.jsonString().value()), jwk.jsonData());
        EXPECT_EQ(jwk["d"], std::nullopt);
    }
    EXPECT_EQ(json::parse(setOf(full).jsonData()).at("keys").at(1), expected);
}

TEST(JWK, DropsPrivateAdditionalParameters) {
    const StringMap additional{{"d", "1"},  {"p", "1"}, {"q", "1"},   {"dp", "1"},   {"dq", "1"},
                               {"qi", "1"}, {"k", "1"}, {"oth", "1"}, {"priv", "1"}, {"use", "sig"}};
    const JOSE::RSAPublicKey rsa(publicKey(rsaSig), additional);
    const JOSE::ECPublicKey ec(publicKey(ecP256), additional);
    EXPECT_EQ(namesOf(rsa), (std::vector<std::string>{"e", "kty", "n", "use"}));
    EXPECT_EQ(namesOf(ec), (std::vector<std::string>{"crv", "kty", "use", "x", "y"}));
    auto published = rsa.parameters();
    published["oth"] = "1";
    EXPECT_EQ(namesOf(JWK::initFrom(toJSONObject(published))), namesOf(rsa));
}

TEST(JWK, AdditionalParametersDoNotReplaceThoseOfTheKey) {
    const StringMap additional{{"kty", "oct"}, {"n", "1"}, {"e", "1"}, {"crv", "1"}, {"x", "1"}, {"y", "1"}};
    for (const auto& [jwk, plain] : {std::pair<JWK, JWK>(JOSE::RSAPublicKey(publicKey(rsaSig), additional),
                                                         JOSE::RSAPublicKey(publicKey(rsaSig), {})),
                                     std::pair<JWK, JWK>(JOSE::ECPublicKey(publicKey(ecP256), additional),
                                                         JOSE::ECPublicKey(publicKey(ecP256), {}))}) {
        for (const auto& [name, value] : plain.parameters()) EXPECT_EQ(jwk[name], value) << name;
    }
}

TEST(JWK, EqualsEveryJwkOfTheSamePublicKey) {
    const auto rsa = publicFrom(privateJwkOf(rsaSig)), oct = publicFrom({{"kty", "oct"}, {"kid", "1"}});
    const std::vector<std::tuple<const char*, JWK, bool>> others{
        {"the private key", privateFrom(privateJwkOf(rsaSig)), true},
        {"made from the platform key", JOSE::RSAPublicKey(publicKey(rsaSig), {{"kid", "another"}}), true},
        {"another RSA key", publicFrom(privateJwkOf(rsaEnc)), false},
        {"an EC key", publicFrom(privateJwkOf(ecP256)), false},
        {"another key type", oct, false}};
    for (const auto& [name, other, isEqual] : others) {
        EXPECT_EQ(rsa == other, isEqual) << name;
        EXPECT_EQ(other == rsa, isEqual) << name;
    }
    EXPECT_EQ(oct, publicFrom({{"kty", "oct"}, {"kid", "1"}}));
    EXPECT_NE(oct, publicFrom({{"kty", "oct"}, {"kid", "2"}}));
}

TEST(JWK, RejectsAnotherKeyTypeWhenConverted) {
    const auto oct = setOf({{"kty", "oct"}, {"k", "c2VjcmV0"}, {"kid", "1"}}).keys().at(1);
    EXPECT_EQ(oct.keyType(), std::nullopt);
    EXPECT_EQ(json(oct.parameters()), (json{{"kty", "oct"}, {"kid", "1"}}));
    EXPECT_ERROR(oct.converted(), otherType);
    const auto rsa = keyText(rsaSig, "jwk_public"), ec = keyText(ecP256, "jwk_public");
    EXPECT_ERROR(JOSE::RSAPublicKey::initFrom(ec), unsupported("The JWK is not an RSA key."));
    EXPECT_ERROR(JOSE::ECPublicKey::initFrom(rsa), unsupported("The JWK is not an EC key."));
}

TEST(JWK, RejectsTextThatIsNotAnObject) {
    forEachHostileRow("hostile_keys.json", "texts", 10, [](const json& row) {
        EXPECT_ERROR_TEXT(JWK::initFrom(bytesOf(row["text"])), row["error"]);
        static_cast<void>(JWK::initPrivateFrom(bytesOf(row["text"])));
    });
}

TEST(JWKSet, RejectsSetsWithoutAListOfObjects) {
    forEachHostileRow("hostile_keys.json", "setTexts", 15,
                      [](const json& row) { static_cast<void>(JWKSet::initFrom(bytesOf(filledIn(row["text"])))); });
    EXPECT_EQ(JWKSet::initFrom(bytesOf(R"({"keys":[],"more":1})")).keys().size(), 0U);
}

}  // namespace
