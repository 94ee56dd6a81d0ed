// Fuzz target of decodeMessage: it returns only messages that the peer signed. The first byte of the input selects how
// the rest is used: as the whole token; as the plaintext of an honest JWE; as header and payload, separated by "\n", of
// a JWS that the peer signed; or as header and plaintext of a forged JWE with a valid tag.
#include "tests/testing/forge.hpp"
#include "tests/testing/oracle.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

const std::string genuine = "genuine";

const JOSEHelper& helper() {
    static const auto made = JOSEHelper::Builder()
                                 .setSenderJwkSet({privateJwk(rsaEnc, JWK_ENC)})
                                 .setRecipientJwkSet({publicJwk(rsaSig, JWK_SIG)})
                                 .create();
    return made;
}

const JOSE::Signer& signer() {
    static const auto made = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(rsaSig)).value();
    return made;
}

ByteBuffer encrypt(ByteView inner) {
    static const JWEEncrypter encrypter(publicJwk(rsaEnc, JWK_ENC));
    return encrypter.encryptJWT(inner, std::nullopt, true);
}

// Whether decodeMessage may accept a JWS that the peer signed with this header.
bool isAcceptable(const std::string& header) {
    const auto members = json::parse(header, nullptr, false);
    return members.is_object() && members.value("alg", json()) == "RS256" && !members.contains("crit") &&
           !members.contains("zip") && members.value("b64", json(true)) == true;
}

void check(ByteView token, const std::string& signedMessage, bool mayPass) {
    errorTextOf([&] {
        const auto message = helper().decodeMessage(token);
        require(mayPass && asText(message) == signedMessage, "only a message that the peer signed is returned");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Checks once that a genuine message is decoded at all.
    static const auto decoded = helper().decodeMessage(encrypt(signedToken(R"({"alg":"RS256"})", genuine, signer())));
    require(asText(decoded) == genuine, "a genuine message is decoded");
    if (size == 0) return 0;
    const ByteView rest(data + 1, size - 1);
    const std::string text(asText(rest));
    const auto line = text.find('\n');
    const auto header = text.substr(0, line);
    const auto content = line == text.npos ? "" : text.substr(line + 1);
    switch (data[0] % 4) {
        case 0: check(rest, genuine, true); break;
        case 1: check(encrypt(rest), genuine, true); break;
        case 2: check(encrypt(signedToken(header, content, signer())), content, isAcceptable(header)); break;
        default: {
            static const auto recipient = publicKey(rsaEnc);
            const ForgedJWE forged(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256, header, recipient,
                                   HashFunction::SHA256, content);
            check(forged.token(), genuine, true);
        }
    }
    return 0;
}
