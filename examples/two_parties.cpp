// Two applications, A and B, exchange public keys and a message. The program prints the parts of the token, and the
// error for a changed token.
//
//     two_parties [FILE]     the message is the content of the file, or a short text
#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <torvane/platform/encodings/base64.hpp>
#include <torvane/torvane.hpp>
#include <vector>

namespace {

using namespace Torvane;

// An application with its key pairs. Only public keys leave it.
class Application {
  public:
    explicit Application(std::string name) : name_(std::move(name)) {
        keys_.jwks.emplace_back(SoftwareKeyStore::generateRSA(2048), JWKUse::JWK_SIG, signingKeyId());
        keys_.jwks.emplace_back(SoftwareKeyStore::generateRSA(2048), JWKUse::JWK_ENC, encryptionKeyId());
    }

    std::string signingKeyId() const { return name_ + "-sig"; }
    std::string encryptionKeyId() const { return name_ + "-enc"; }
    std::string publicJwkSet() const { return keys_.publicSet().encodeToString(); }

    // Decrypts a token to the JWS inside. The JWS is not verified, so it is only for display.
    ByteBuffer innerToken(const ByteBuffer& token) const {
        const auto privateKey = keys_.find({.keyId = encryptionKeyId()}).front().platformKey();
        return JWEDecrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey).decryptJWE(token);
    }

    JOSEHelper helperFor(const std::string& peerJwkSet, const std::string& peerEncryptionKeyId) const {
        return JOSEHelper::Builder()
            .setSenderJwkSet(keys_, signingKeyId())
            .setRecipientJwkSet(JsonWebKeySet(peerJwkSet), peerEncryptionKeyId)
            .create();
    }

  private:
    std::string name_;
    JsonWebKeySet keys_;
};

ByteBuffer readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string("cannot read ") + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string cut(std::string_view text, std::size_t longest = 48) {
    if (text.size() <= longest) return std::string(text);
    return std::string(text.substr(0, longest)) + "... (" + std::to_string(text.size()) + " characters)";
}

// Prints the protected header of a compact token as JSON, and each part with its decoded size.
void printToken(std::string_view token, const std::vector<std::string>& partNames) {
    const auto header = JsonWebStructure::readHeader(token);
    if (!header) throw std::runtime_error("the token has no protected header");
    std::cout << "    protected header       " << asText(JSONSerialization::data(*header)) << '\n';
    for (const auto& name : partNames) {
        const auto part = token.substr(0, token.find('.'));
        std::cout << "    " << std::left << std::setw(22) << name << std::right << std::setw(9) << part.size() * 3 / 4
                  << " bytes  " << (part.empty() ? "(empty)" : cut(part)) << '\n';
        token.remove_prefix(std::min(token.size(), part.size() + 1));
    }
}

// Returns the token with one bit of its ciphertext flipped.
ByteBuffer tampered(const ByteBuffer& token) {
    const std::string text(asText(token));
    JsonWebStructure structure(text);
    std::string result;
    for (std::size_t i = 0; i < structure.components.size(); ++i) {
        if (i == 3) structure.components[i].front() ^= 1;  // the ciphertext
        if (i > 0) result += '.';
        result += encodeBase64url(structure.components[i]);
    }
    return {result.begin(), result.end()};
}

int run(const ByteBuffer& message) {
    const Application a("A");
    const Application b("B");
    const auto jwksOfA = a.publicJwkSet();
    const auto jwksOfB = b.publicJwkSet();
    std::cout << "A's public JWK Set: " << cut(jwksOfA, 110) << "\nB's public JWK Set: " << cut(jwksOfB, 110) << "\n\n";
    const auto helperOfA = a.helperFor(jwksOfB, b.encryptionKeyId());
    const auto helperOfB = b.helperFor(jwksOfA, a.encryptionKeyId());

    std::cout << "A encodes a message of " << message.size() << " bytes.\n";
    const auto token = helperOfA.encodeMessage(message);
    std::cout << "A sends a JWE of " << token.size() << " bytes:\n";
    printToken(asText(token), {"header", "encrypted key", "initialization vector", "ciphertext", "authentication tag"});
    std::cout << "After decryption, B has a JWS:\n";
    printToken(asText(b.innerToken(token)), {"header", "payload", "signature"});

    const auto decoded = helperOfB.decodeMessage(token);
    const bool same = decoded == message;
    std::cout << "B decodes " << decoded.size() << " bytes, " << (same ? "the same" : "NOT THE SAME") << ".\n\n";

    std::cout << "One bit of the ciphertext is flipped in transit. B gets this error:\n    ";
    try {
        const auto accepted = helperOfB.decodeMessage(tampered(token));
        std::cout << "no error: " << asText(accepted) << '\n';
        return 1;
    } catch (const JOSEError& error) {
        std::cout << error.errorDescription() << '\n';
    }
    return same ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 2) {
            std::cerr << "usage: two_parties [FILE]\n";
            return 2;
        }
        const auto text = asBytes("Meet me at noon. Bring the other half of the map.");
        return run(argc == 2 ? readFile(argv[1]) : ByteBuffer(text.begin(), text.end()));
    } catch (const std::exception& error) {
        std::cerr << "two_parties: " << error.what() << '\n';
        return 1;
    }
}
