// The reader's half of a JWT: whether the claims are meant for us and for now, and then what they say. Their text is
// what decodeMessage() or verifyJWS() gave, so the sender did write it; what to make of it is for the reader to say.
#include <algorithm>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace {

using namespace Torvane;

constexpr double now = 1'800'000'000;  // so that it prints the same each time; else secondsSince1970()
constexpr double leeway = 30;          // seconds by which the sender's clock may be off

void require(bool condition, const char* otherwise) {
    if (!condition) throw std::runtime_error(otherwise);
}

// A getter throws where a claim is missing or of another type, so what is read here has to be there.
void check(const JWTClaims& claims, std::set<std::string>& seen) {
    const auto audience = claims.getAudience();  // a list, even where the token has one name without a list
    require(std::ranges::find(audience, "bank") != audience.end(), "not for us");
    require(claims.getIssuer() == "app", "from somebody whom we don't know");
    require(now < claims.getExpirationTime() + leeway, "expired");
    if (claims.hasClaim(ReservedClaimNames::NOT_BEFORE)) require(claims.getNotBefore() <= now + leeway, "not yet");
    require(seen.insert(claims.getJwtId()).second, "not for the first time");  // remembered until it has expired
}

struct Payment {
    double amount;
    std::string payee;
    std::vector<std::string> tags;
};

// All of it is read before anything is done.
Payment paymentIn(const JWTClaims& claims) {
    Payment payment{claims.getClaimValue<double>("amount"), claims.getClaimValue<std::string>("payee"), {}};
    if (claims.hasClaim("tags")) payment.tags = claims.getClaimValue<std::vector<std::string>>("tags");
    return payment;
}

const std::vector<std::string> received{
    R"({"jti":"1","iss":"app","aud":"bank","exp":1800000060,"amount":950.25,"payee":"Ada","tags":["rent","home"]})",
    // Good by the leeway alone; and a number without a fraction is a double too.
    R"({"jti":"2","iss":"app","aud":["shop","bank"],"nbf":1800000020,"exp":1799999980,"amount":12,"payee":"Grace"})",
    R"({"jti":"2","iss":"app","aud":"bank","exp":1800000060})",
    R"({"jti":"3","iss":"app","aud":"shop","exp":1800000060})",
    R"({"jti":"3","iss":"App","aud":"bank","exp":1800000060})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":1799999970})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":1800000060,"nbf":1800000031})",
    R"({"jti":"3","iss":"app","aud":"bank"})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":"1800000060"})",
    R"({"jti":"3","iss":"app","aud":["bank",1],"exp":1800000060})",  // what is no audience counts as none
    R"({"jti":"3","iss":"app","aud":"bank","exp":1800000060,"amount":"950.25","payee":"Ada"})",
    R"({"jti":"4","iss":"app","aud":"bank","exp":1800000060,"amount":950.25,"payee":"Ada","tags":"rent"})",
    R"({"jti":"5","iss":"app","aud":"shop","aud":"bank","exp":1800000060})",
    R"(["bank"])",
};

}  // namespace

int main() {
    std::set<std::string> seen;
    for (const auto& text : received) {
        std::cout << text << "\n    ";
        try {
            const auto claims = fromJsonString<JWTClaims>(text);
            check(claims, seen);
            const auto payment = paymentIn(claims);
            std::cout << payment.amount << " to " << payment.payee;
            for (const auto& tag : payment.tags) std::cout << ", " << tag;
            std::cout << '\n';
        } catch (const std::exception& error) {
            std::cout << error.what() << '\n';
        }
    }
}
