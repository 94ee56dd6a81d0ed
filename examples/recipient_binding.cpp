// A forwarding attacker: Alice sends Mallory a message, and Mallory encrypts the JWS inside anew to Bob, for whom
// Alice's signature is just as valid. Bob rejects the message if Alice's token names its recipient by the thumbprint of
// a key, or her claims name it in "aud".
#include <iostream>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

namespace {

using namespace Torvane;

JsonWebKey newKey(JWKUse use, const std::string& id) {
    return {SoftwareKeyStore::generateRSA(), use, id};
}

const JsonWebKey alicesKey = newKey(JWKUse::JWK_SIG, "alice");
const JsonWebKey bobsKey = newKey(JWKUse::JWK_ENC, "bob"), mallorysKey = newKey(JWKUse::JWK_ENC, "mallory");

ByteBuffer writeAsAlice(const JsonWebKey& recipient, std::string_view message, bool isBound) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet({alicesKey}).setRecipientJwkSet({recipient.publicHalf()});
    if (isBound) builder.bindRecipient();
    return builder.create().encodeMessage(message);
}

// What Mallory does: she may decrypt the message, and everybody has Bob's public key.
ByteBuffer forward(ByteView token) {
    const auto jws = JWEDecrypter("RSA-OAEP-256", "A128CBC-HS256", mallorysKey.platformKey()).decryptJWE(token);
    return JWEEncrypter("RSA-OAEP-256", "A128CBC-HS256", bobsKey.publicHalf(), "bob").encryptJWT(jws, {}, true);
}

void readAsBob(const char* what, const JOSEHelper::Builder& bob, ByteView token) {
    std::cout << what << ": ";
    try {
        std::cout << bob.create().decodeMessageToString(token) << '\n';
    } catch (const ClaimsError& error) {
        std::cout << "rejected. " << error.errorDescription() << '\n';
    }
}

}  // namespace

int main() {
    const auto configure = [](JOSEHelper::Builder& builder) -> JOSEHelper::Builder& {
        return builder.setSenderJwkSet({bobsKey}).setRecipientJwkSet({alicesKey.publicHalf()});
    };
    JOSEHelper::Builder anyRecipient, byKey, byAudience;
    configure(anyRecipient);
    configure(byKey).bindRecipient();
    configure(byAudience).bindRecipient({"bob"});  // the names by which senders know Bob

    const std::string text = "pay the bearer 100";
    readAsBob("not bound, forwarded", anyRecipient, forward(writeAsAlice(mallorysKey, text, false)));

    readAsBob("bound to Bob's key", byKey, writeAsAlice(bobsKey, text, true));
    readAsBob("bound to Mallory's key, forwarded", byKey, forward(writeAsAlice(mallorysKey, text, true)));
    readAsBob("bound to no key, forwarded", byKey, forward(writeAsAlice(mallorysKey, text, false)));

    const std::string toBob = R"({"aud":"bob","pay":100})", toMallory = R"({"aud":"mallory","pay":100})";
    readAsBob("claims for Bob", byAudience, writeAsAlice(bobsKey, toBob, false));
    readAsBob("claims for Mallory, forwarded", byAudience, forward(writeAsAlice(mallorysKey, toMallory, false)));
}
