// The best current practices for JWTs (RFC 8725, section 3): for each, a token that breaks it is rejected.
#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;

const json rightClaims{{"iss", "them"}, {"aud", "us"}, {"sub", "ada"}, {"exp", 2000}};

std::string claims(const json& changes = json::object()) {
    auto members = rightClaims;
    members.merge_patch(changes);
    return members.dump();
}

// A token with this header, signed by the provider's key unless it is another one.
ByteBuffer token(const json& header, const std::string& payload = claims(), const std::string& kid = ecP256) {
    json members{{"alg", "ES256"}, {"typ", "at+jwt"}};
    members.merge_patch(header.is_null() ? json::object() : header);
    return signedToken(members.dump(), payload, *JOSE::Signer::create(ES256, privateKey(kid)));
}

TokenVerifier verifier(const JsonWebKeySet& keys = {publicJwk(ecP256, JWK_SIG)}) {
    return {
        keys,
        {ES256, RS256},
        ClaimsPolicy().requireIssuer("them").requireAudience("us").requireSubject("ada").requireType("at+jwt").setClock(
            [] { return ClaimsPolicy::Time(std::chrono::seconds(1000)); })};
}

NestedToken nestedTokens() {
    return {{privateJwk(ecEncP256, JWK_ENC)}, {publicJwk(ecP256, JWK_SIG)}, {{ES256}, {{ECDH_ES}, {A128GCM}}}};
}

ByteBuffer encrypted(ByteView jws) {
    return JWEEncrypter(ECDH_ES, A128GCM, publicKey(ecEncP256), ecEncP256).encryptJWT(jws);
}

// A nested token whose JWE header was changed.
ByteBuffer withChanges(const json& changes) {
    const auto made = encrypted(token({}));
    auto header = json::parse(headerText(made));
    header.merge_patch(changes);
    return withHeader(made, header.dump());
}

std::string coordinate(const std::string& kid) {
    return json::parse(keyText(kid, "jwk_public")).at("x");
}

// The public key of the provider used as a shared secret.
ByteBuffer signedWithHmac() {
    const auto key = publicJwk(rsaSig, JWK_SIG).publicKeyPem();
    const auto input =
        encodeBase64url(asBytes(std::string_view(R"({"alg":"HS256"})"))) + "." + encodeBase64url(asBytes(claims()));
    Crypto::Hmac mac(HashFunction::SHA256, asBytes(key));
    mac.update(asBytes(input));
    return bytesOf(input + "." + encodeBase64url(mac.finish()));
}

JsonWebKeySet weakSet() {
    return {keyInWords("public rsa1024 sig")};
}

TEST(BestPractices, ATokenThatBreaksOneIsRejected) {
    const std::string notAllowed = "TokenError.algorithmNotAllowed", undecryptable = "TokenError.decryptionFailed",
                      wrongSignature = "TokenError.wrongSignature";
    const auto verify = [](const ByteBuffer& text) { return [text] { static_cast<void>(verifier().verify(text)); }; };
    const auto decode = [](const ByteBuffer& text) {
        return [text] { static_cast<void>(nestedTokens().decode(text)); };
    };
    const struct {
        const char* practice;
        std::function<void()> attempt;
        std::string error;
    } rows[] = {
        {"a token that breaks none", verify(token({})), "nothing was thrown"},
        {"a nested token that breaks none", decode(encrypted(token({}))), "nothing was thrown"},
        {"3.1 the algorithm is verified: HMAC with a public key", verify(signedWithHmac()), notAllowed},
        {"3.1 the algorithm is verified: another than the key's", verify(token({{"alg", "RS256"}})),
         "TokenError.keyNotFound"},
        {"3.2 appropriate algorithms: none",
         verify(bytesOf(encodeBase64url(asBytes(std::string_view(R"({"alg":"none"})"))) + ".e30.AA")), notAllowed},
        {"3.2 appropriate algorithms: RSA1_5", [] { JWEDecrypter("RSA1_5", "A128GCM", privateKey(rsaEnc)); },
         "JOSEError.algorithmNotSupported"},
        {"3.3 all operations are validated: the signature", verify(withFlippedBit(token({}), 2)), wrongSignature},
        {"3.3 all operations are validated: the inner signature", decode(encrypted(withFlippedBit(token({}), 2))),
         wrongSignature},
        {"3.3 all operations are validated: the tag", decode(withFlippedBit(encrypted(token({})), 4)), undecryptable},
        {"3.4 inputs are validated: a point off the curve", decode(withChanges({{"epk", {{"x", coordinate(ecP256)}}}})),
         undecryptable},
        {"3.4 inputs are validated: another curve",
         decode(withChanges({{"epk", json::parse(keyText(ecP384, "jwk_public"))}})), undecryptable},
        {"3.5 sufficient entropy: RSA-1024",
         [] {
             static_cast<void>(verifier(weakSet()).verify(
                 signedToken(R"({"alg":"RS256"})", claims(), *JOSE::Signer::create(RS256, privateKey(rsaSig)))));
         },
         "TokenError.keyNotFound"},
        {"3.6 no compression before encryption", decode(withChanges({{"zip", "DEF"}})), "TokenError.malformed"},
        {"3.7 UTF-8", verify(token({}, "{\"iss\":\"\xE9\"}")), "ClaimsError.malformed"},
        {"3.8 the issuer is validated", verify(token({}, claims({{"iss", "eve"}}))), "ClaimsError.wrongIssuer"},
        {"3.8 the subject is validated", verify(token({}, claims({{"sub", "eve"}}))), "ClaimsError.wrongSubject"},
        {"3.9 the audience is validated", verify(token({}, claims({{"aud", {"eve"}}}))), "ClaimsError.wrongAudience"},
        {"3.9 the audience is there", verify(token({}, claims({{"aud", nullptr}}))), "ClaimsError.missingClaim"},
        {"3.10 claims are not trusted: kid", verify(token({{"kid", "' OR 1=1 --"}})), "TokenError.keyNotFound"},
        {"3.10 claims are not trusted: jwk",
         verify(token({{"jwk", json::parse(keyText(ecEncP256, "jwk_public"))}}, claims(), ecEncP256)), wrongSignature},
        {"3.10 claims are not trusted: jku", verify(token({{"jku", "https://eve.example/jwks"}}, claims(), ecEncP256)),
         wrongSignature},
        {"3.11 explicit types", verify(token({{"typ", nullptr}})), "ClaimsError.wrongType"},
        {"3.12 kinds of tokens exclude each other", verify(token({{"typ", "JWT"}})), "ClaimsError.wrongType"},
    };
    for (const auto& row : rows) {
        const auto error = textualForm(thrownBy(row.attempt));
        EXPECT_EQ(error.substr(0, error.find('(')), row.error) << row.practice << ": " << error;
    }
}

}  // namespace
