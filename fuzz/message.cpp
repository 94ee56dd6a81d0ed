// decodeMessage: nothing comes out but what the peer signed, however the input is wrapped. Its first byte says how:
// as the outer token, as what an honest encryption holds, as a header and payload that the peer did sign ("\n"
// between the two), or as an outer header and content under a right tag.
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

ByteBuffer sealed(ByteView inner) {
    static const JWEEncrypter encrypter(publicJwk(rsaEnc, JWK_ENC));
    return encrypter.encryptJWT(inner, std::nullopt, true);
}

// Whether a header that the peer signed may be taken at its word.
bool isHonest(const std::string& header) {
    const auto members = json::parse(header, nullptr, false);
    return members.is_object() && members.value("alg", json()) == "RS256" && !members.contains("crit") &&
           !members.contains("zip") && members.value("b64", json(true)) == true;
}

void check(ByteView token, const std::string& signedMessage, bool mayPass) {
    refusalOf([&] {
        const auto message = helper().decodeMessage(token);
        require(mayPass && asText(message) == signedMessage, "only what the peer signed comes out");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // That nothing else comes out says little unless this does.
    static const auto alive = helper().decodeMessage(sealed(signedToken(R"({"alg":"RS256"})", genuine, signer())));
    require(asText(alive) == genuine, "what the peer signed comes out");
    if (size == 0) return 0;
    const ByteView rest(data + 1, size - 1);
    const std::string text(asText(rest));
    const auto line = text.find('\n');
    const auto header = text.substr(0, line);
    const auto content = line == text.npos ? "" : text.substr(line + 1);
    switch (data[0] % 4) {
        case 0: check(rest, genuine, true); break;
        case 1: check(sealed(rest), genuine, true); break;
        case 2: check(sealed(signedToken(header, content, signer())), content, isHonest(header)); break;
        default: {
            static const auto recipient = publicKey(rsaEnc);
            const ForgedJWE forged(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256, header, recipient,
                                   HashFunction::SHA256, content);
            check(forged.token(), genuine, true);
        }
    }
    return 0;
}
