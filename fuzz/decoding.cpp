// Fuzz target that compares decodeMessage, which reads each layer once, with the steps of its description, one after
// the other: both return the same message or throw the same error. The first byte of the input selects what the rest
// is: the whole token; the plaintext of an honest JWE; header and payload, separated by "\n", of a JWS that the peer
// signed; or changes to the bytes of a genuine token, or of the JWS in it: pairs of a position and a new value.
#include "tests/testing/forge.hpp"
#include "tests/testing/oracle.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

const std::string genuine = "genuine";

// Two keys may decrypt, and two have the same id and may verify.
const JsonWebKeySet& ours() {
    static const JsonWebKeySet set{privateJwk(rsaEnc, JWK_ENC), privateJwk(rsaEnc2, JWK_ENC)};
    return set;
}

const JsonWebKeySet& theirs() {
    static const JsonWebKeySet set{JsonWebKey(publicKey(rsaSig2), JWK_SIG, rsaSig), publicJwk(rsaSig, JWK_SIG)};
    return set;
}

const JOSEHelper& helper() {
    static const auto made = JOSEHelper::Builder().setSenderJwkSet(ours()).setRecipientJwkSet(theirs()).create();
    return made;
}

std::vector<JsonWebKey> find(const JsonWebKeySet& set, JWKUse use, KeyClass keyClass, ByteView token) {
    const auto text = Zennet::isUTF8(token) ? asText(token) : std::string_view();
    const auto header = JsonWebStructure::readHeader(text);
    const auto* keyId = header ? stringMember(*header, "kid") : nullptr;
    return set.find({.keyId = keyId ? std::optional(*keyId) : std::nullopt,
                     .use = use,
                     .keyType = KeyType::RSA2048Key,
                     .keyClass = keyClass});
}

ByteBuffer decodeStepByStep(ByteView token) {
    const auto decryptionKeys = find(ours(), JWK_ENC, KeyClass::privateKey, token);
    if (decryptionKeys.size() != 1) {
        throw JOSEError::missingKey("Must provide sender's private key to decrypt JWTs.");
    }
    const JWEDecrypter decrypter("RSA-OAEP-256", "A128CBC-HS256", *decryptionKeys.front().key().keyRef());
    const auto jws = decrypter.decryptJWE(token);
    const auto verificationKeys = find(theirs(), JWK_SIG, KeyClass::publicKey, jws);
    if (verificationKeys.empty()) {
        throw JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures.");
    }
    std::exception_ptr last;
    for (const auto& key : verificationKeys) {
        try {
            return JWSVerifier("RS256", key).verifyJWS(jws);
        } catch (const JOSEError&) {
            last = std::current_exception();
        }
    }
    std::rethrow_exception(last);
}

void check(ByteView token) {
    std::optional<ByteBuffer> fast, slow;
    const auto fastError = errorTextOf([&] { fast = helper().decodeMessage(token); });
    const auto slowError = errorTextOf([&] { slow = decodeStepByStep(token); });
    require(fast == slow && fastError == slowError, "both ways agree: " + fastError + " and " + slowError);
}

ByteBuffer encrypt(ByteView jws) {
    static const JWEEncrypter encrypter("RSA-OAEP-256", "A128CBC-HS256", publicKey(rsaEnc), rsaEnc);
    return encrypter.encryptJWT(jws, std::nullopt, true);
}

ByteBuffer sign(std::string_view header, std::string_view payload) {
    static const auto signer = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(rsaSig)).value();
    return signedToken(header, payload, signer);
}

ByteBuffer change(ByteBuffer token, ByteView changes) {
    for (std::size_t i = 0; i + 2 < changes.size(); i += 3) {
        token[(changes[i] * std::size_t{256} + changes[i + 1]) % token.size()] = changes[i + 2];
    }
    return token;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto jws = sign(R"({"alg":"RS256","kid":"d-sig-rs256"})", genuine), token = encrypt(jws);
    static const bool isDecoded = asText(helper().decodeMessage(token)) == genuine;
    require(isDecoded, "a genuine message is decoded");
    if (size == 0) return 0;
    const ByteView rest(data + 1, size - 1);
    const auto text = asText(rest);
    const auto line = std::min(text.find('\n'), text.size());
    switch (data[0] % 5) {
        case 0: check(rest); break;
        case 1: check(encrypt(rest)); break;
        case 2: check(encrypt(sign(text.substr(0, line), text.substr(std::min(line + 1, text.size()))))); break;
        case 3: check(change(token, rest)); break;
        default: check(encrypt(change(jws, rest)));
    }
    return 0;
}
