// The shortest way from a message to a nested token and back.
#include <iostream>
#include <torvane/torvane.hpp>

int main() {
    using namespace Torvane;
    const auto keyPair = [](JWKUse use, const std::string& id) {
        const auto key = SoftwareKeyStore::generateRSA();
        using Zennet::KeyClass, Zennet::KeyType;
        return std::pair{JsonWebKey(key, KeyClass::privateKey, KeyType::RSA2048Key, use, id),
                         JsonWebKey(key.publicKey(), KeyClass::publicKey, KeyType::RSA2048Key, use, id)};
    };
    // We sign with our key and encrypt to theirs; they decrypt with theirs and verify with ours.
    const auto [ourPrivate, ourPublic] = keyPair(JWKUse::JWK_SIG, "ours");
    const auto [theirPrivate, theirPublic] = keyPair(JWKUse::JWK_ENC, "theirs");

    const auto us = JOSEHelper::Builder()
                        .setSenderJwkSet({ourPrivate}, "ours")
                        .setRecipientJwkSet({theirPublic}, "theirs")
                        .create();
    const auto them = JOSEHelper::Builder().setSenderJwkSet({theirPrivate}).setRecipientJwkSet({ourPublic}).create();

    const auto token = us.encodeMessage(asBytes("Hello, JOSE"));
    std::cout << asText(them.decodeMessage(token)) << '\n';
}
