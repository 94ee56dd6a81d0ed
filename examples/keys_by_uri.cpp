// Uses a signing key and a decryption key that URIs name: in files or in a PKCS #11 token. Generates the keys that
// are missing, prints the JWK Set for peers, and sends a message to itself.
//
//     keys_by_uri SIGN_URI DECRYPT_URI
//     keys_by_uri sign.pem decrypt.pem
//     keys_by_uri 'pkcs11:token=app;object=sign?pin-source=pin.txt' sign.pem
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

namespace {

using namespace Torvane;

// Reads a PIN or passphrase from the environment. A program with a terminal would ask its user.
std::optional<SecretBuffer> fromEnvironment(std::string_view description) {
    std::cerr << "asked for " << description << '\n';
    const char* secret = std::getenv("KEY_SECRET");
    if (secret == nullptr) return std::nullopt;
    const auto bytes = asBytes(secret);
    return SecretBuffer(bytes.begin(), bytes.end());
}

SecKey openOrMake(const std::string& uri) {
    using Case = KeyStoreError::Case;
    try {
        return openKey(uri, KeyClass::privateKey, fromEnvironment);
    } catch (const KeyStoreError& error) {
        // keyNotFound: no such key in the PKCS #11 token; unavailable: no such file.
        if (error.errorCase() != Case::keyNotFound && error.errorCase() != Case::unavailable) throw;
        std::cerr << error.errorDescription() << " Generating one.\n";
        return generateRSAKeyAt(uri, 2048, fromEnvironment);
    }
}

void run(const std::string& signingUri, const std::string& decryptingUri) {
    const auto signing = openOrMake(signingUri), decrypting = openOrMake(decryptingUri);
    const JsonWebKeySet ours{{signing, JWKUse::JWK_SIG, "sign"}, {decrypting, JWKUse::JWK_ENC, "dec"}};
    const auto published = ours.publicSet();
    std::cout << published.encodeToString() << '\n';

    const auto helper =
        JOSEHelper::Builder().setSenderJwkSet(ours, "sign").setRecipientJwkSet(published, "dec").create();
    std::cout << asText(helper.decodeMessage(helper.encodeMessage(asBytes("To myself")))) << '\n';
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: keys_by_uri SIGN_URI DECRYPT_URI\n";
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const Error& error) {
        std::cerr << error.errorDescription() << '\n';
        return 1;
    }
}
