// Program whose memory the tests search. Its arguments are the URIs of an RSA key to sign with, an RSA key to decrypt
// with, and an EC key to sign with. It prints its process id after the first use, and goes on using the keys until it
// is killed.
#include <iostream>
#include <unistd.h>

#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/torvane.hpp"

namespace {

using namespace Torvane;
using Zennet::KeyClass;
using Zennet::KeyType;

struct KeyPair {
    JsonWebKey privateKey, publicKey;
};

KeyPair open(const char* uri, KeyType type, JWKUse use) {
    const auto key = openKey(uri, KeyClass::privateKey);
    return {{key, KeyClass::privateKey, type, use, uri}, {key.publicKey(), KeyClass::publicKey, type, use, uri}};
}

}  // namespace

int main(int, char** uris) {
    const auto signing = open(uris[1], KeyType::RSA2048Key, JWKUse::JWK_SIG);
    const auto decrypting = open(uris[2], KeyType::RSA2048Key, JWKUse::JWK_ENC);
    const auto ec = open(uris[3], KeyType::EC256Key, JWKUse::JWK_SIG);
    const auto helper = JOSEHelper::Builder()
                            .setSenderJwkSet({signing.privateKey, decrypting.privateKey}, uris[1])
                            .setRecipientJwkSet({signing.publicKey, decrypting.publicKey}, uris[2])
                            .create();
    const JWSSigner signer(JOSE::SignatureAlgorithm::ES256, ec.privateKey);
    const JWSVerifier verifier(JOSE::SignatureAlgorithm::ES256, ec.publicKey);
    for (bool isFirst = true;; isFirst = false) {
        static_cast<void>(
            verifier.verifyJWS(signer.signJWT(helper.decodeMessage(helper.encodeMessage(asBytes("a message"))))));
        if (isFirst) std::cout << ::getpid() << std::endl;
    }
}
