#include "torvane/jwt/claims_policy.hpp"

#include <cmath>
#include <limits>
#include <set>

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using List = JSONValue::List;
using Time = ClaimsPolicy::Time;

constexpr std::int64_t present = 1'000'000'000;
const Time clockTime{std::chrono::seconds(present)};

ClaimsPolicy policy() {
    return ClaimsPolicy().requireIssuer("us", "them").requireAudience("me", "my-api").setClock([] {
        return clockTime;
    });
}

JWTClaims accepted() {
    return JWTClaims({{"iss", "them"}, {"aud", List::of("you", "my-api")}, {"exp", present + 1}});
}

JWTClaims with(const char* name, JSONValue value) {
    auto claims = accepted();
    claims.setClaim(name, std::move(value));
    return claims;
}

JWTClaims without(const char* name) {
    auto claims = accepted();
    claims.unsetClaim(name);
    return claims;
}

constexpr const char* theNames = R"(one of \"me\", \"my-api\")";
constexpr const char* ok = "nothing was thrown";

// Without "ClaimsError.".
std::string error(const std::string& errorCase, const std::string& claim, const std::string& expected) {
    return "ClaimsError." + errorCase + "(claim: \"" + claim + "\", expected: \"" + expected + "\")";
}

struct Row {
    ClaimsPolicy policy;
    JWTClaims claims;
    std::string error;
    std::optional<std::string_view> type = std::nullopt;
};

void expectRows(const std::vector<Row>& rows) {
    for (const auto& row : rows) {
        SCOPED_TRACE(row.claims.toJsonString() + " " + std::string(row.type.value_or("no type")));
        EXPECT_ERROR_TEXT(row.policy.check(row.claims, row.type), row.error);
    }
}

template <class... Rows>
std::vector<Row> rowsOf(Rows... rows) {
    std::vector<Row> all;
    (all.push_back(std::move(rows)), ...);
    return all;
}

TEST(ClaimsPolicy, RejectsEverythingUnlessToldWhatToAccept) {
    ClaimsPolicy none;
    none.setClock([] { return clockTime; });
    EXPECT_ERROR(none.check(accepted(), std::nullopt),
                 ClaimsError(ClaimsError::Case::wrongIssuer, "iss", "one that the policy names"));
    EXPECT_ERROR(none.allowAnyIssuer().check(accepted(), std::nullopt),
                 ClaimsError(ClaimsError::Case::wrongAudience, "aud", "one that the policy names"));
    EXPECT_ERROR(none.allowAnyAudience().check(JWTClaims(), std::nullopt),
                 ClaimsError(ClaimsError::Case::missingClaim, "exp", "there"));
    none.allowNoExpiry().check(JWTClaims(), std::nullopt);
}

TEST(ClaimsPolicy, ComparesNames) {
    const auto missing = [](const char* claim) { return error("missingClaim", claim, "there"); };
    const auto malformed = [](const char* claim) { return error("malformed", claim, "a string"); };
    const auto badAudience = error("malformed", "aud", "a string or a list of strings");
    const auto wrongIssuer = error("wrongIssuer", "iss", R"(one of \"us\", \"them\")");
    const auto wrongAudience = error("wrongAudience", "aud", theNames);
    expectRows(rowsOf(
        Row{policy(), accepted(), ok}, Row{policy(), with("iss", "us"), ok}, Row{policy(), with("aud", "me"), ok},
        Row{policy(), without("iss"), missing("iss")}, Row{policy(), with("iss", nullptr), missing("iss")},
        Row{policy(), with("iss", "US"), wrongIssuer}, Row{policy(), with("iss", "us "), wrongIssuer},
        Row{policy(), with("iss", std::string("us\0", 3)), wrongIssuer},
        Row{policy(), with("iss", List::of("us")), malformed("iss")},
        Row{policy().requireIssuer("x"), accepted(), error("wrongIssuer", "iss", R"(\"x\")")},
        Row{policy().allowAnyIssuer(), without("iss"), ok},
        Row{policy().allowAnyIssuer(), with("iss", 1), malformed("iss")}, Row{policy(), without("aud"), missing("aud")},
        Row{policy(), with("aud", List()), wrongAudience}, Row{policy(), with("aud", "you"), wrongAudience},
        Row{policy(), with("aud", "me,you"), wrongAudience},
        Row{policy(), with("aud", List::of("you", "Me")), wrongAudience},
        Row{policy(), with("aud", List::of("me", 1)), badAudience},
        Row{policy(), with("aud", JSONValue::Object{{"me", "me"}}), badAudience},
        Row{policy().allowAnyAudience(), without("aud"), ok}, Row{policy().allowAnyAudience(), with("aud", "you"), ok},
        Row{policy().allowAnyAudience(), with("aud", 1), badAudience}, Row{policy(), with("sub", "anybody"), ok},
        Row{policy(), with("sub", 7), malformed("sub")}, Row{policy(), with("sub", nullptr), malformed("sub")},
        Row{policy().requireSubject("ada"), with("sub", "ada"), ok},
        Row{policy().requireSubject("ada"), accepted(), missing("sub")},
        Row{policy().requireSubject("ada"), with("sub", "adam"), error("wrongSubject", "sub", R"(\"ada\")")},
        Row{policy(), with("jti", 5), malformed("jti")},
        Row{policy().requireClaim("nonce").requireClaim("jti"), with("nonce", 1), missing("jti")},
        Row{policy().requireClaim("nonce"), with("nonce", false), ok},
        Row{policy().requireClaim("nonce"), with("nonce", nullptr), missing("nonce")}));
}

TEST(ClaimsPolicy, ComparesTimes) {
    const auto malformed = [](const char* claim) {
        return error("malformed", claim, "a number of seconds since 1970");
    };
    const auto expired = [](const char* since) {
        return error("expired", "exp", std::string("a time after ") + since);
    };
    const auto early = [](const char* claim) { return error("notYetValid", claim, "a time until 1000000000"); };
    const auto tooOld = error("tooOld", "iat", "a time after 999999940");
    const auto aged = [] { return policy().setMaximumAge(1min); };
    constexpr auto exact = std::int64_t(1) << 53;
    constexpr double infinite = std::numeric_limits<double>::infinity();
    auto rows = rowsOf(
        Row{policy(), with("exp", present), expired("1000000000")}, Row{policy(), with("exp", present + 0.001), ok},
        Row{policy(), with("exp", -1), expired("1000000000")}, Row{policy(), with("exp", exact - 1), ok},
        Row{policy().setLeeway(5s), with("exp", present - 4), ok},
        Row{policy().setLeeway(5s), with("exp", present - 5), expired("999999995")},
        Row{policy(), without("exp"), error("missingClaim", "exp", "there")},
        Row{policy().allowNoExpiry(), without("exp"), ok},
        Row{policy().allowNoExpiry(), with("exp", present - 1), expired("1000000000")},
        Row{policy().allowNoExpiry(), with("exp", nullptr), malformed("exp")}, Row{policy(), with("nbf", present), ok},
        Row{policy(), with("nbf", present + 0.5), early("nbf")}, Row{policy(), with("nbf", -1e9), ok},
        Row{policy().setLeeway(1s), with("nbf", present + 1), ok}, Row{policy(), with("iat", present + 1000), ok},
        Row{aged(), accepted(), error("missingClaim", "iat", "there")}, Row{aged(), with("iat", present - 59.5), ok},
        Row{aged(), with("iat", present - 60), tooOld}, Row{aged(), with("iat", -5), tooOld},
        Row{aged(), with("iat", present + 1), early("iat")}, Row{aged().setLeeway(2s), with("iat", present - 61), ok},
        Row{aged().setLeeway(2s), with("iat", present + 2), ok},
        Row{policy().setLeeway(std::chrono::seconds::min()), with("exp", present), expired("1000000000")},
        Row{policy().setLeeway(std::chrono::seconds::max()), with("exp", present - 4e9), expired("-2153600000")},
        Row{policy().setMaximumAge(std::chrono::seconds::min()), with("iat", present),
            error("tooOld", "iat", "a time after 1000000000")});
    for (const auto* claim : {"exp", "nbf", "iat"}) {
        for (const JSONValue& value : List::of(exact, exact + 1, -exact, -exact - 1, 1e300, -1e300, "1000000001",
                                               List::of(present), true, std::numeric_limits<std::int64_t>::max())) {
            rows.push_back({policy(), with(claim, value), malformed(claim)});
        }
    }
    expectRows(rows);
    // These cannot be written as JSON.
    for (const double value : {infinite, -infinite, std::nan("")}) {
        EXPECT_ERROR_TEXT(policy().check(with("exp", value), std::nullopt), malformed("exp"));
        EXPECT_ERROR_TEXT(policy().check(with("nbf", value), std::nullopt), malformed("nbf"));
    }
}

TEST(ClaimsPolicy, ComparesTheTypeOfTheHeader) {
    const auto notJWT = error("wrongType", "typ", R"(\"JWT\" or missing)");
    const auto notAccess = error("wrongType", "typ", R"(\"at+jwt\")");
    const auto access = [] { return policy().requireType("application/AT+JWT"); };
    expectRows(rowsOf(Row{policy(), accepted(), ok, "JWT"}, Row{policy(), accepted(), ok, "jwt"},
                      Row{policy(), accepted(), ok, "application/jwt"}, Row{policy(), accepted(), notJWT, "at+jwt"},
                      Row{policy(), accepted(), notJWT, ""}, Row{policy(), accepted(), notJWT, "application/"},
                      Row{policy(), with("typ", "at+jwt"), ok}, Row{access(), accepted(), ok, "at+jwt"},
                      Row{access(), accepted(), ok, "Application/At+Jwt"}, Row{access(), accepted(), notAccess},
                      Row{access(), accepted(), notAccess, "JWT"}, Row{access(), with("typ", "at+jwt"), notAccess},
                      Row{access(), accepted(), notAccess, "at+jwt/1"},
                      Row{access(), accepted(), notAccess, "text/at+jwt"},
                      Row{policy().requireType("application/a/z"), accepted(), ok, "application/A/Z"},
                      Row{policy().requireType("application/a/z"), accepted(),
                          error("wrongType", "typ", R"(\"application/a/z\")"), "a/z"},
                      Row{policy().allowAnyType(), accepted(), ok, "logout+jwt"},
                      Row{policy().allowAnyType().requireType("at+jwt"), accepted(), notAccess, "JWT"}));
}

TEST(ClaimsPolicy, CallsTheReplayCheckOnceAndLast) {
    std::vector<Time> calls;
    std::set<std::string> seen;
    const auto checked = policy().setMaximumAge(1min).setLeeway(3s).setReplayCheck([&](const auto& claims, Time until) {
        calls.push_back(until);
        return seen.insert(claims.getIssuer() + " " + claims.getJwtId()).second;
    });
    auto claims = with("jti", "1");
    claims.setIssuedAt(clockTime);
    for (const auto* name : {"iss", "aud", "exp", "iat", "jti"}) {
        auto incomplete = claims.copy();
        incomplete.unsetClaim(name);
        EXPECT_ERROR_TEXT(checked.check(incomplete, std::nullopt), error("missingClaim", name, "there"));
    }
    EXPECT_TRUE(calls.empty());

    checked.check(claims, "JWT");
    EXPECT_ERROR_TEXT(checked.check(claims, "JWT"), error("replayed", "jti", "new"));
    checked.check(claims.setExpirationTime(present + 1000).setIssuer("us"), "JWT");
    EXPECT_EQ(calls, (std::vector{clockTime + 4s, clockTime + 4s, clockTime + 63s}));
    EXPECT_ERROR(policy()
                     .setReplayCheck([](const auto&, Time) -> bool { throw JOSEError::missingKey("down"); })
                     .check(claims, std::nullopt),
                 JOSEError::missingKey("down"));
    Time until;
    policy()
        .allowNoExpiry()
        .setReplayCheck([&](const auto&, Time end) {
            until = end;
            return true;
        })
        .check(JWTClaims({{"iss", "us"}, {"aud", "me"}, {"jti", "2"}}), std::nullopt);
    EXPECT_EQ(until, Time::max());
}

TEST(ClaimsPolicy, RejectsATokenFromTheTimeOnAtWhichItMayBeForgotten) {
    auto now = clockTime;
    Time until;
    auto remembering = policy().setMaximumAge(1min).setClock([&] { return now; }).setReplayCheck([&](auto&, Time end) {
        until = end;
        return true;
    });
    for (const double fraction : {0.0, 0.1, 0.3, 0.000001, 0.999999999, 0.123456789}) {
        for (const auto& [claim, offset] : {std::pair("exp", 30.0), std::pair("iat", -20.0)}) {
            now = clockTime;
            auto claims = with("jti", "1");
            claims.setIssuedAt(clockTime).setExpirationTime(present + 3600.0);
            claims.setClaim(claim, static_cast<double>(present) + offset + fraction);
            remembering.check(claims, std::nullopt);
            now = until;
            EXPECT_THROW(remembering.check(claims, std::nullopt), ClaimsError) << claim << fraction;
            now = until - 2us;
            EXPECT_NO_THROW(remembering.check(claims, std::nullopt)) << claim << fraction;
        }
    }
}

TEST(ClaimsPolicy, ReadsClaimsAndTheTypeOfTheirHeader) {
    const auto read = [](const JSONValue& type, const ClaimsPolicy& by) {
        return by.readClaims(accepted().toJsonString(), JSONValue::Object{{"typ", type}}).getIssuer();
    };
    EXPECT_EQ(read("JWT", policy()), "them");
    for (const JSONValue& type : List::of(5, nullptr, List::of("JWT"))) {
        EXPECT_ERROR_TEXT(read(type, policy()), error("wrongType", "typ", R"(\"JWT\" or missing)"));
        EXPECT_EQ(read(type, policy().allowAnyType()), "them");
    }
    EXPECT_EQ(textualForm(thrownBy([&] { read("JWT", policy().setClock({})); })).substr(0, 19), "ClaimsError.expired");
}

TEST(ClaimsError, NamesTheClaimAndNothingOfTheToken) {
    const ClaimsError expired(ClaimsError::Case::expired, "exp", "a time after 5");
    EXPECT_EQ(expired.errorDescription(), "The token has expired: \"exp\" must be a time after 5.");
    EXPECT_EQ(expired.debugDescription(), error("expired", "exp", "a time after 5"));
    EXPECT_EQ(expired.claim() + expired.expected(), "expa time after 5");
    EXPECT_EQ(expired, ClaimsError(expired));
    const std::pair<const char*, const char*> cases[] = {{"expired", "The token has expired"},
                                                         {"notYetValid", "The token is not valid yet"},
                                                         {"wrongIssuer", "The token is from another issuer"},
                                                         {"wrongAudience", "The token is for another audience"},
                                                         {"wrongSubject", "The token is about another subject"},
                                                         {"missingClaim", "The token lacks a claim"},
                                                         {"tooOld", "The token is too old"},
                                                         {"wrongType", "The token is of another type"},
                                                         {"replayed", "The token was used before"},
                                                         {"malformed", "A claim is malformed"}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const ClaimsError each(static_cast<ClaimsError::Case>(i), "", "so");
        EXPECT_EQ(each.errorDescription(), std::string(cases[i].second) + ": the payload must be so.");
        EXPECT_EQ(each.debugDescription(), error(cases[i].first, "", "so"));
    }
    for (const auto& other : {ClaimsError(ClaimsError::Case::tooOld, "exp", "a time after 5"),
                              ClaimsError(ClaimsError::Case::expired, "iat", "a time after 5"),
                              ClaimsError(ClaimsError::Case::expired, "exp", "a time after 6")}) {
        EXPECT_FALSE(expired == other) << other;
    }
}

}  // namespace
