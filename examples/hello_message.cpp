// Encodes claims as a nested token, decodes it, and checks the claims.
#include <iostream>
#include <torvane/torvane.hpp>

int main() {
    using namespace Torvane;
    const JsonWebKey ours(SoftwareKeyStore::generateRSA(), JWKUse::JWK_SIG, "ours");
    const JsonWebKey theirs(SoftwareKeyStore::generateRSA(), JWKUse::JWK_ENC, "theirs");

    // We sign with our key and encrypt to theirs; they decrypt with theirs and verify with ours.
    JOSEHelper::Builder us, them;
    us.setSenderJwkSet({ours}).setRecipientJwkSet({theirs.publicHalf()}, "theirs");
    them.setSenderJwkSet({theirs}).setRecipientJwkSet({ours.publicHalf()});
    them.setClaimsPolicy(ClaimsPolicy().requireIssuer("us").requireAudience("them"));

    JWTClaims claims;
    claims.setIssuer("us").setAudience("them").setExpirationTimeSecondsInTheFuture(60).setClaim("text", "Hello, JOSE");
    const std::string token = us.create().encodeMessageToString(claims.toJsonString());
    const DecodedMessage message = them.create().decode(token);
    std::cout << message.claims->getClaimValue<std::string>("text") << '\n';
}
