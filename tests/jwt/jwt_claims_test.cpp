#include "torvane/jwt/jwt_claims.hpp"

#include <cmath>
#include <map>
#include <set>

#include <gtest/gtest.h>
#include <openssl/rand.h>

#include "torvane/platform/core/clock.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using List = JSONValue::List;
using Object = JSONValue::Object;
using Strings = std::vector<std::string>;

TEST(JWTClaims, ReadsAndWritesTheExampleOfRFC7519) {
    const auto claims =
        fromJsonString<JWTClaims>("{\"iss\":\"joe\",\r\n \"exp\":1300819380,\r\n \"http://example.com/is_root\":true}");
    EXPECT_EQ(claims.getIssuer(), "joe");
    EXPECT_EQ(claims.getExpirationTime(), 1300819380.0);
    EXPECT_TRUE(claims.getClaimValue<bool>("http://example.com/is_root"));
    EXPECT_EQ(claims.toJsonString(), R"({"exp":1300819380,"http:\/\/example.com\/is_root":true,"iss":"joe"})");
}

TEST(JWTClaims, HoldsValuesAsTheyWereSet) {
    JWTClaims claims;
    claims.setIssuer("i").setSubject("s").setAudience("a").setJwtId("j");
    claims.setExpirationTime(1.5).setNotBefore(-2).setIssuedAt(3e9);
    claims.setClaim("null", nullptr).setClaim("list", Strings{"x"}).setClaimValue(7, "typ");
    const Object expected{
        {"iss", "i"}, {"sub", "s"},      {"aud", List::of("a")},  {"jti", "j"}, {"exp", 1.5}, {"nbf", -2.0},
        {"iat", 3e9}, {"null", nullptr}, {"list", List::of("x")}, {"typ", 7}};
    EXPECT_EQ(claims.getClaims(), expected);
    EXPECT_EQ(claims.toDictionary(), expected);
    for (const auto* name : {"exp", "nbf", "iat"}) EXPECT_TRUE(claims.getClaims().at(name).as<double>()) << name;
    EXPECT_EQ(fromJsonString<JWTClaims>(claims.toJsonString()).getNotBefore(), -2.0);
    EXPECT_EQ(claims.setClaimValue("other", ReservedClaimNames::TYPE).getClaims().at("typ"), "other");
    EXPECT_EQ(claims.setClaim(ReservedClaimNames::TYPE, "third").getClaims().at("typ"), "third");
}

JWTClaims claimsOf(const std::string& issuer) {
    JWTClaims claims;
    claims.setIssuer(issuer);
    return claims;
}

TEST(JWTClaims, MovesAndCopiesExplicitly) {
    static_assert(!std::copy_constructible<JWTClaims> && !std::is_copy_assignable_v<JWTClaims>);
    std::vector<JWTClaims> all;
    for (const auto* issuer : {"a", "b", "c"}) all.push_back(claimsOf(issuer));
    auto copy = all[1].copy();
    EXPECT_EQ(copy.setIssuer("d").getIssuer() + all[0].getIssuer() + all[1].getIssuer() + all[2].getIssuer(), "dabc");
    auto& source = all[2];
    copy = std::move(source);
    EXPECT_EQ(copy.getIssuer(), "c");
    EXPECT_EQ(source.toJsonString(), "{}");  // NOLINT(bugprone-use-after-move)
    EXPECT_ERROR(source.getIssuer(), JOSEError::claimNotFoundInJWT("iss"));
    EXPECT_EQ(source.setIssuer("e").getIssuer(), "e");
}

TEST(JWTClaims, ReadsAListAsAVectorOfValues) {
    const auto claims = fromJsonString<JWTClaims>(R"({"list":[1,"a",null],"text":"a"})");
    EXPECT_EQ(claims.getClaimValue<std::vector<JSONValue>>("list"), (std::vector<JSONValue>{1, "a", nullptr}));
    EXPECT_ERROR(claims.getClaimValue<std::vector<JSONValue>>("text"),
                 JOSEError::malformedClaim("Type of claim text is String, expected type is Array.Type"));
}

TEST(JWTClaims, NullCountsAsPresent) {
    auto claims = fromJsonString<JWTClaims>(R"({"null":null})");
    EXPECT_TRUE(claims.hasClaim("null"));
    EXPECT_TRUE(claims.getClaimValue<JSONValue>("null").isNull());
    EXPECT_FALSE(claims.unsetClaim("Null").unsetClaim("null").hasClaim("null"));
    EXPECT_EQ(claims.toJsonString(), "{}");
}

template <class T>
void expectRead(const JWTClaims& claims, const json& row, const char* name, const std::string& typeName) {
    if (const auto read = row["reads"].find(name); read != row["reads"].end()) {
        const auto text = JSONSerialization::data(claims.getClaimValue<T>("c"));
        EXPECT_EQ(json::parse(text), *read) << name;
    } else {
        EXPECT_ERROR(claims.getClaimValue<T>("c"),
                     JOSEError::malformedClaim("Type of claim c is " + row["type"].get<std::string>() +
                                               ", expected type is " + typeName + ".Type"));
    }
}

TEST(JWTClaims, RejectsClaimsOfAnotherType) {
    forEachRow("claim_types.json", "reads", 14, [](const json& row) {
        const auto claims = fromJsonString<JWTClaims>("{\"c\":" + row["text"].get<std::string>() + "}");
        expectRead<std::string>(claims, row, "String", "String");
        expectRead<double>(claims, row, "Double", "Double");
        expectRead<std::int64_t>(claims, row, "Int", "Int");
        expectRead<bool>(claims, row, "Bool", "Bool");
        expectRead<Strings>(claims, row, "Strings", "Array");
        expectRead<List>(claims, row, "List", "Array");
        expectRead<Object>(claims, row, "Dictionary", "Dictionary");
        EXPECT_EQ(claims.getClaimValue<JSONValue>("c"), claims.getClaims().at("c"));
    });
    EXPECT_ERROR(JWTClaims(Object{{"c", JSONValue::opaque('x')}}).getClaimValue<bool>("c"),
                 JOSEError::malformedClaim("Type of claim c is Any, expected type is Bool.Type"));
}

TEST(JWTClaims, ReadsAudienceAsListOrString) {
    JWTClaims claims;
    EXPECT_EQ(claims.setAudience("a", std::string("b")).getAudience(), (Strings{"a", "b"}));
    EXPECT_EQ(claims.setAudience().getAudience(), Strings());
    EXPECT_EQ(claims.setAudience({"x", "y"}).toJsonString(), R"({"aud":["x","y"]})");
    EXPECT_EQ(fromJsonString<JWTClaims>(R"({"aud":"x"})").getAudience(), Strings{"x"});
    EXPECT_EQ(fromJsonString<JWTClaims>(R"({"aud":""})").getAudience(), Strings{""});
    for (const JSONValue& value : List::of(5, nullptr, List::of("a", 1), Object())) {
        EXPECT_ERROR(claims.setClaim("aud", value).getAudience(), JOSEError::claimNotFoundInJWT("aud"));
    }
}

void get(const JWTClaims& claims, const std::string& name) {
    const std::map<std::string, std::string (JWTClaims::*)() const> texts{
        {"iss", &JWTClaims::getIssuer}, {"sub", &JWTClaims::getSubject}, {"jti", &JWTClaims::getJwtId}};
    const std::map<std::string, double (JWTClaims::*)() const> times{
        {"exp", &JWTClaims::getExpirationTime}, {"nbf", &JWTClaims::getNotBefore}, {"iat", &JWTClaims::getIssuedAt}};
    if (texts.contains(name)) static_cast<void>((claims.*texts.at(name))());
    if (times.contains(name)) static_cast<void>((claims.*times.at(name))());
    if (name == "aud") static_cast<void>(claims.getAudience());
    if (name == "typ") static_cast<void>(claims.getClaimValue<JSONValue>(ReservedClaimNames::TYPE));
}

JSONValue::Object read(const json& row) {
    return dictFromJsonString(row["text"].get<std::string>());
}

TEST(JWTClaims, RejectsTextThatIsNotAnObject) {
    forEachHostileRow("hostile_claims.json", "texts", 11, read);
}

TEST(JWTClaims, GettersRejectMissingAndMistypedClaims) {
    forEachHostileRow("hostile_claims.json", "claims", 26,
                      [](const json& row) { get(JWTClaims(read(row)), row["claim"]); });
}

TEST(JWTClaims, RelativeTimesCountFromNow) {
    std::set<double> fractions;
    for (int i = 0; i < 5; ++i) {
        JWTClaims claims;
        const double before = secondsSince1970();
        claims.setExpirationTimeSecondsInTheFuture(-60.25).setNotBeforeSecondsInThePast(10.5).setIssuedAtToNow();
        const double after = secondsSince1970();
        for (const double now :
             {claims.getExpirationTime() + 60.25, claims.getNotBefore() + 10.5, claims.getIssuedAt()}) {
            EXPECT_TRUE(before <= now && now <= after && now > 1.7e9) << now;
        }
        fractions.insert(std::fmod(claims.getIssuedAt(), 1));
    }
    EXPECT_GT(fractions.size(), 1U);
}

TEST(JWTClaims, GeneratedIdsAreRandomAndAsLongAsAsked) {
    JWTClaims claims;
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) seen.insert(claims.setGeneratedJwtId().getJwtId());
    EXPECT_EQ(seen.size(), 100U);
    for (const auto& id : seen) EXPECT_TRUE(id.size() == 24 && id.ends_with("==")) << id;
    EXPECT_EQ(claims.setGeneratedJwtId(0).getJwtId(), "");
    EXPECT_EQ(claims.setGeneratedJwtId(33).getJwtId().size(), 44U);
}

TEST(JWTClaimsDeathTest, AFailingRandomSourceStopsTheProcess) {
    // In a new process, where OpenSSL has not made its generator yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto generate = [] {
        RAND_set_DRBG_type(nullptr, "no such generator", nullptr, nullptr, nullptr);
        JWTClaims().setGeneratedJwtId();
    };
    EXPECT_EXIT(generate(), ::testing::KilledBySignal(SIGABRT), "torvane: the random source failed\n");
}

}  // namespace
