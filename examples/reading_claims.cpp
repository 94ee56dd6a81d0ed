// Checks the claims of a JWT, and reads them. The texts stand for results of decodeMessage() or verifyJWS(): the sender
// has signed them, and the recipient decides whether to accept them.
#include <algorithm>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace {

using namespace Torvane;

constexpr double now = 1'800'000'000;  // fixed for a constant output; use secondsSince1970()
constexpr double leeway = 30;          // seconds by which the sender's clock may differ from ours

void require(bool condition, const char* otherwise) {
    if (!condition) throw std::runtime_error(otherwise);
}

// Getters throw if the claim is missing or has another type, so all claims are required unless hasClaim() is called.
void check(const JWTClaims& claims, std::set<std::string>& seen) {
    const auto audience = claims.getAudience();  // always a list, even if the claim is a single name
    require(std::ranges::find(audience, "bank") != audience.end(), "not for us");
    require(claims.getIssuer() == "app", "from an unknown sender");
    require(now < claims.getExpirationTime() + leeway, "expired");
    if (claims.hasClaim(ReservedClaimNames::NOT_BEFORE)) require(claims.getNotBefore() <= now + leeway, "not yet");
    require(seen.insert(claims.getJwtId()).second, "received before");  // keep ids until they expire
}

struct Payment {
    double amount;
    std::string payee;
    std::vector<std::string> tags;
};

// Reads every claim before the application acts on one.
Payment paymentIn(const JWTClaims& claims) {
    Payment payment{claims.getClaimValue<double>("amount"), claims.getClaimValue<std::string>("payee"), {}};
    if (claims.hasClaim("tags")) payment.tags = claims.getClaimValue<std::vector<std::string>>("tags");
    return payment;
}

const std::vector<std::string> received{
    R"({"jti":"1","iss":"app","aud":"bank","exp":1800000060,"amount":950.25,"payee":"Ada","tags":["rent","home"]})",
    // Valid only because of the leeway. A number without a fraction can be read as a double.
    R"({"jti":"2","iss":"app","aud":["shop","bank"],"nbf":1800000020,"exp":1799999980,"amount":12,"payee":"Grace"})",
    R"({"jti":"2","iss":"app","aud":"bank","exp":1800000060})",
    R"({"jti":"3","iss":"app","aud":"shop","exp":1800000060})",
    R"({"jti":"3","iss":"App","aud":"bank","exp":1800000060})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":1799999970})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":1800000060,"nbf":1800000031})",
    R"({"jti":"3","iss":"app","aud":"bank"})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":"1800000060"})",
    R"({"jti":"3","iss":"app","aud":["bank",1],"exp":1800000060})",  // a malformed audience counts as missing
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
