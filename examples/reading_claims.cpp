// Checks the claims of a JWT, and reads them. The texts stand for payloads that verifyJWS() has verified: the sender
// has signed them, and the policy says whether the recipient accepts them. TokenVerifier and JOSEHelper take the same
// policy.
#include <chrono>
#include <iostream>
#include <set>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace {

using namespace Torvane;

// The clock is fixed for a constant output; without setClock() it is the system clock.
ClaimsPolicy makePolicy(std::set<std::string>& seen) {
    return ClaimsPolicy()
        .requireIssuer("app")
        .requireAudience("bank")
        .setLeeway(std::chrono::seconds(30))  // by which the sender's clock may differ from ours
        .setClock([] { return ClaimsPolicy::Time(std::chrono::seconds(1'800'000'000)); })
        .setReplayCheck([&seen](const JWTClaims& claims, ClaimsPolicy::Time) {  // keep ids until the given time
            return seen.insert(claims.getJwtId()).second;
        });
}

struct Payment {
    double amount;
    std::string payee;
    std::vector<std::string> tags;
};

// Reads every claim before the application acts on one. Getters throw if the claim is missing or has another type, so
// all claims are required unless hasClaim() is called.
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
    R"({"jti":"3","iss":"app","aud":["bank",1],"exp":1800000060})",
    R"({"jti":"3","iss":"app","aud":"bank","exp":1800000060,"amount":"950.25","payee":"Ada"})",
    R"({"jti":"4","iss":"app","aud":"bank","exp":1800000060,"amount":950.25,"payee":"Ada","tags":"rent"})",
    R"({"jti":"5","iss":"app","aud":"shop","aud":"bank","exp":1800000060})",
    R"(["bank"])",
};

}  // namespace

int main() {
    std::set<std::string> seen;
    const auto policy = makePolicy(seen);
    for (const auto& text : received) {
        std::cout << text << "\n    ";
        try {
            const auto payment = paymentIn(policy.readClaims(asBytes(text), {}));
            std::cout << payment.amount << " to " << payment.payee;
            for (const auto& tag : payment.tags) std::cout << ", " << tag;
            std::cout << '\n';
        } catch (const std::exception& error) {
            std::cout << error.what() << '\n';
        }
    }
}
