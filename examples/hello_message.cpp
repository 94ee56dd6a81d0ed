// Encodes a message as a nested token, and decodes it.
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

    const std::string token = us.create().encodeMessageToString("Hello, JOSE");
    std::cout << them.create().decodeMessageToString(token) << '\n';
}
