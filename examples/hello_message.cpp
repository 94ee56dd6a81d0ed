// The shortest way from a message to a nested token and back.
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

    const auto token = us.create().encodeMessage(asBytes("Hello, JOSE"));
    std::cout << asText(them.create().decodeMessage(token)) << '\n';
}
