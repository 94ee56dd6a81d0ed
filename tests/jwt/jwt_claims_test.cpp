#include "torvane/jwt/jwt_claims.hpp"

#include <cmath>
#include <map>
#include <set>

#include <gtest/gtest.h>
#include <openssl/rand.h>

#include "torvane/platform/services/clock.hpp"

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
    claims.setClaimValue(nullptr, "null").setClaimValue(Strings{"x"}, "list").setClaimValue(7, "typ");
    const Object expected{{"iss", "i"},  {"sub", "s"}, {"aud", List{"a"}}, {"jti", "j"},        {"exp", 1.5},
                          {"nbf", -2.0}, {"iat", 3e9}, {"null", nullptr},  {"list", List{"x"}}, {"typ", 7}};
    EXPECT_EQ(claims.getClaims(), expected);
    EXPECT_EQ(claims.toDictionary(), expected);
    EXPECT_EQ(fromJsonString<JWTClaims>(claims.toJsonString()).getNotBefore(), -2.0);
    EXPECT_EQ(claims.getSubject() + claims.getJwtId(), "sj");
    EXPECT_EQ(claims.getIssuedAt(), 3e9);
    EXPECT_EQ(claims.setClaimValue("other", ReservedClaimNames::TYPE).getClaims().at("typ"), JSONValue("other"));
}

TEST(JWTClaims, NullIsThereAndAnAbsentClaimIsNot) {
    auto claims = fromJsonString<JWTClaims>(R"({"null":null})");
    EXPECT_TRUE(claims.hasClaim("null"));
    EXPECT_TRUE(claims.getClaimValue<JSONValue>("null").isNull());
    EXPECT_FALSE(claims.unsetClaim("Null").unsetClaim("null").hasClaim("null"));
    EXPECT_EQ(claims.toJsonString(), "{}");
}

// What a claim is read as, by the name of the type that is asked for; a type that is missing is refused.
using Reads = std::map<std::string, JSONValue>;

template <class T>
void expectRead(const JWTClaims& claims, const std::string& valueType, const Reads& reads, const std::string& name) {
    if (const auto read = reads.find(name); read != reads.end()) {
        EXPECT_EQ(JSONValue(claims.getClaimValue<T>("c")), read->second) << valueType << " as " << name;
    } else {
        const auto type = name == "Strings" || name == "List" ? "Array" : name;
        EXPECT_ERROR(claims.getClaimValue<T>("c"), JOSEError::malformedClaim("Type of claim c is " + valueType +
                                                                             ", expected type is " + type + ".Type"));
    }
}

TEST(JWTClaims, EachTypeReadsItsOwnKindsAndNoOther) {
    const struct {
        JSONValue value;
        std::string valueType;
        Reads reads;
    } rows[] = {
        {"1", "String", {{"String", "1"}}},
        {5, "Int", {{"Int", 5}, {"Double", 5.0}}},
        {INT64_MIN, "Int", {{"Int", INT64_MIN}, {"Double", -0x1p63}}},
        {5.0, "Double", {{"Int", 5}, {"Double", 5.0}}},
        {-0x1p63, "Double", {{"Int", INT64_MIN}, {"Double", -0x1p63}}},
        {9007199254740994.0, "Double", {{"Int", 9007199254740994}, {"Double", 9007199254740994.0}}},
        {0x1p63, "Double", {{"Double", 0x1p63}}},
        {-0.1, "Double", {{"Double", -0.1}}},
        {true, "Bool", {{"Bool", true}}},
        {nullptr, "Null", {}},
        {List(), "Array", {{"List", JSONValue(List())}, {"Strings", JSONValue(List())}}},
        {List{"a", "b"}, "Array", {{"List", List{"a", "b"}}, {"Strings", List{"a", "b"}}}},
        {List{"a", 1}, "Array", {{"List", List{"a", 1}}}},
        {Object{{"a", 1}}, "Dictionary", {{"Dictionary", Object{{"a", 1}}}}},
        {JSONValue::opaque('x'), "Any", {}},
    };
    for (const auto& row : rows) {
        const JWTClaims claims(Object{{"c", row.value}});
        expectRead<std::string>(claims, row.valueType, row.reads, "String");
        expectRead<double>(claims, row.valueType, row.reads, "Double");
        expectRead<std::int64_t>(claims, row.valueType, row.reads, "Int");
        expectRead<bool>(claims, row.valueType, row.reads, "Bool");
        expectRead<Strings>(claims, row.valueType, row.reads, "Strings");
        expectRead<List>(claims, row.valueType, row.reads, "List");
        expectRead<Object>(claims, row.valueType, row.reads, "Dictionary");
        EXPECT_EQ(claims.getClaimValue<JSONValue>("c") == row.value, row.valueType != "Any");
    }
}

TEST(JWTClaims, TheAudienceIsAListOrALoneStringOrNotFound) {
    JWTClaims claims;
    EXPECT_EQ(claims.setAudience("a", std::string("b")).getAudience(), (Strings{"a", "b"}));
    EXPECT_EQ(claims.setAudience().getAudience(), Strings());
    EXPECT_EQ(claims.setAudience({"x", "y"}).toJsonString(), R"({"aud":["x","y"]})");
    EXPECT_EQ(fromJsonString<JWTClaims>(R"({"aud":"x"})").getAudience(), Strings{"x"});
    for (const JSONValue& value : List{5, nullptr, List{"a", 1}, Object()})
        EXPECT_ERROR(claims.setClaimValue(value, "aud").getAudience(), JOSEError::claimNotFoundInJWT("aud"));
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

TEST(JWTClaims, NoTextIsReadThatIsNoObjectAndNoClaimThatIsMissingOrOfAnotherType) {
    const auto read = [](const json& row) { return dictFromJsonString(row["text"].get<std::string>()); };
    forEachHostileRow("hostile_claims.json", "texts", 11, read);
    forEachHostileRow("hostile_claims.json", "claims", 26,
                      [&](const json& row) { get(JWTClaims(read(row)), row["claim"]); });
}

TEST(JWTClaims, RelativeTimesCountFromNowInFractionsOfASecond) {
    std::set<double> fractions;
    for (int i = 0; i < 5; ++i) {
        JWTClaims claims;
        const double before = Platform::secondsSince1970();
        claims.setExpirationTimeSecondsInTheFuture(-60.25).setNotBeforeSecondsInThePast(10.5).setIssuedAtToNow();
        const double after = Platform::secondsSince1970();
        for (const double now :
             {claims.getExpirationTime() + 60.25, claims.getNotBefore() + 10.5, claims.getIssuedAt()})
            EXPECT_TRUE(before <= now && now <= after && now > 1.7e9) << now;
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
    // In a new process, so that the generator has not been made yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto generate = [] {
        RAND_set_DRBG_type(nullptr, "no such generator", nullptr, nullptr, nullptr);
        JWTClaims().setGeneratedJwtId();
    };
    EXPECT_EXIT(generate(), ::testing::KilledBySignal(SIGABRT), "torvane: the random source failed");
}

}  // namespace
