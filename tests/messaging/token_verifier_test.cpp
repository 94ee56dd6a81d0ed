#include "torvane/messaging/token_verifier.hpp"

#include <map>

#include "tests/testing/forge.hpp"
#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using nlohmann::json;

const JSONValue::Object good{{"iss", "them"}, {"aud", "us"}, {"exp", 2000}, {"sub", "ada"}};
constexpr const char* ok = "nothing was thrown";
constexpr const char* wrongSignature =
    R"(TokenError.wrongSignature(description: "The signature of the token does not verify."))";
constexpr const char* noKid = R"(TokenError.keyNotFound(description: "No key that fits the token has its \"kid\"."))";
constexpr const char* noKey = R"(TokenError.keyNotFound(description: "No key fits the token."))";

ClaimsPolicy policy() {
    return ClaimsPolicy().requireIssuer("them").requireAudience("us").setClock(
        [] { return ClaimsPolicy::Time(std::chrono::seconds(1000)); });
}

// The public JWK of a key, with members changed, and those that are null removed.
json jwk(const std::string& kid, const json& changes = json::object()) {
    auto members = json::parse(keyText(kid, "jwk_public"));
    members.merge_patch(changes);
    return members;
}

JsonWebKeySet setOf(const std::vector<json>& keys) {
    return JsonWebKeySet::readKnown(json({{"keys", keys}}).dump()).set;
}

// The keys of a provider: kinds of every algorithm, one for encryption, one that is not theirs.
JsonWebKeySet provider() {
    return setOf({jwk(rsaSig), jwk(rsaSig2), jwk(ecP256), jwk(ecP384), jwk(ecP521), jwk("d-sig-es256k"), jwk(rsaEnc),
                  jwk(ecEncP256)});
}

JWSSigner signer(const std::string& algorithm, const std::string& kid) {
    if (algorithm == "ES256K") return {algorithm, JsonWebKey(secp256k1KeyPair().privateKey, JWK_SIG, kid)};
    return {algorithm, privateKey(kid), kid};
}

std::string tokenBy(const std::string& algorithm, const std::string& kid, const JSONValue& claims = good,
                    const StringMap& header = {}) {
    return signer(algorithm, kid).signJWTToString(JSONSerialization::data(claims), header);
}

// Without "kid".
std::string anonymousTokenBy(const std::string& algorithm, const std::string& kid) {
    const auto key = *JOSE::Signer::create(*fromRawValue<JOSE::SignatureAlgorithm>(algorithm), privateKey(kid));
    return std::string(
        asText(signedToken(json({{"alg", algorithm}}).dump(), asText(JSONSerialization::data(good)), key)));
}

TEST(TokenVerifier, VerifiesWithTheKeyThatTheHeaderNames) {
    const std::map<std::string, std::string> keys{{"RS256", rsaSig}, {"PS256", rsaSig2}, {"ES256", ecP256},
                                                  {"ES384", ecP384}, {"ES512", ecP521},  {"ES256K", "d-sig-es256k"}};
    const TokenVerifier verifier(provider(), {"RS256", "PS256", "ES256", "ES384", "ES512", "ES256K"}, policy());
    for (const auto& [algorithm, kid] : keys) {
        SCOPED_TRACE(algorithm);
        const auto token = verifier.verify(tokenBy(algorithm, kid, good, {{"typ", "JWT"}}));
        EXPECT_EQ(asText(token.payload), asText(JSONSerialization::data(good)));
        EXPECT_EQ(token.claims.getSubject(), "ada");
        EXPECT_EQ(token.header, (JSONValue::Object{{"alg", algorithm}, {"kid", kid}, {"typ", "JWT"}}));
        EXPECT_EQ(token.key.keyId(), kid);
    }
}

TEST(TokenVerifier, UsesAKeyOnlyAsItsJWKAllows) {
    const auto es256 = tokenBy("ES256", ecP256), rs256 = tokenBy("RS256", rsaSig);
    const struct {
        const char* name;
        json key;
        std::string token, error;
    } rows[] = {
        {"use is sig", jwk(ecP256, {{"use", "sig"}}), es256, ok},
        {"no use, no alg", jwk(ecP256, {{"use", nullptr}, {"alg", nullptr}}), es256, ok},
        {"use is enc", jwk(ecP256, {{"use", "enc"}}), es256, noKid},
        {"alg is the same", jwk(rsaSig, {{"alg", "RS256"}}), rs256, ok},
        {"alg is another", jwk(rsaSig, {{"alg", "PS256"}}), rs256, noKid},
        {"key_ops has verify", jwk(ecP256, {{"key_ops", {"encrypt", "verify"}}}), es256, ok},
        {"key_ops has only others", jwk(ecP256, {{"key_ops", {"encrypt", "sign"}}}), es256, noKid},
        {"key_ops is empty", jwk(ecP256, {{"key_ops", json::array()}}), es256, noKid},
        {"key_ops is no list", jwk(ecP256, {{"key_ops", {{"verify", true}}}}), es256, noKid},
        {"key_ops is text", jwk(ecP256, {{"key_ops", "verify"}}), es256, noKid},
        {"alg is no text", jwk(ecP256, {{"alg", 256}}), es256, noKid},
        {"another kid", jwk(ecP256, {{"kid", "other"}}), es256, noKid},
        {"another family", jwk(rsaSig, {{"kid", ecP256}, {"alg", nullptr}}), es256, noKid},
        {"another curve", jwk(ecP384, {{"kid", ecP256}, {"alg", nullptr}}), es256, noKid},
        {"another key", jwk(ecEncP256, {{"kid", ecP256}, {"use", "sig"}, {"alg", nullptr}}), es256, wrongSignature},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TokenVerifier verifier(setOf({row.key}), {"ES256", "RS256"}, policy());
        EXPECT_ERROR_TEXT(verifier.verify(row.token), row.error);
    }
    for (const auto& use : {json("tls"), json(7)}) {  // JWK_SIG_ENC to this constructor
        const JsonWebKeySet set(json({{"keys", {jwk(ecP256, {{"use", use}})}}}).dump());
        EXPECT_ERROR_TEXT(TokenVerifier(set, {"ES256"}, policy()).verify(es256), noKid);
    }
}

TEST(TokenVerifier, TriesOtherKeysOnlyForATokenWithoutKid) {
    const auto other = jwk(rsaSig2, {{"alg", nullptr}, {"use", nullptr}}), right = jwk(rsaSig, {{"alg", nullptr}});
    const TokenVerifier verifier(setOf({other, right}), {"RS256"}, policy());
    EXPECT_EQ(verifier.verify(anonymousTokenBy("RS256", rsaSig)).key.keyId(), rsaSig);
    EXPECT_ERROR_TEXT(verifier.verify(signer("RS256", rsaSig).signJWTToString("{}", {})),
                      R"(ClaimsError.missingClaim(claim: "iss", expected: "there"))");

    Limits limits;
    limits.keysTried = 1;
    EXPECT_ERROR_TEXT(TokenVerifier(verifier).setLimits(limits).verify(anonymousTokenBy("RS256", rsaSig)),
                      wrongSignature);
    const TokenVerifier noneFits(setOf({jwk(ecP256)}), {"RS256"}, policy());
    EXPECT_ERROR_TEXT(noneFits.verify(anonymousTokenBy("RS256", rsaSig)), noKey);
}

TEST(TokenVerifier, RejectsWhatItWasNotToldToAccept) {
    const auto token = tokenBy("ES256", ecP256);
    const auto broken = std::string(asText(withFlippedBit(asBytes(token), 2)));
    const auto malformed = [](const std::string& why) {
        return "TokenError.malformed(description: \"The token is malformed. " + why + "\")";
    };
    const struct {
        const char* name;
        std::string token, error;
    } rows[] = {
        {"right", token, ok},
        {"no token", "", malformed("The compact serialisation does not have 3 parts.")},
        {"a JWE", "e30.e30.e30.e30.e30", malformed("The compact serialisation does not have 3 parts.")},
        {"padding", token + "=", malformed("The signature is not valid base64url.")},
        {"crit",
         tokenBy("ES256", ecP256)
             .replace(0, token.find('.'),
                      encodeBase64url(asBytes(std::string_view(R"({"alg":"ES256","crit":["exp"],"exp":1})")))),
         malformed(R"(The header's \"crit\" names extensions, and none is supported.)")},
        {"algorithm", tokenBy("RS256", rsaSig),
         R"(TokenError.algorithmNotAllowed(description: "The token's \"alg\" is not one of those allowed (ES256, PS256)."))"},
        {"none", encodeBase64url(asBytes(std::string_view(R"({"alg":"none"})"))) + ".e30.e30",
         R"(TokenError.algorithmNotAllowed(description: "The token's \"alg\" is not one of those allowed (ES256, PS256)."))"},
        {"signature", broken, wrongSignature},
        {"not claims", signer("ES256", ecP256).signJWTToString("hello"),
         R"(ClaimsError.malformed(claim: "", expected: "a JSON object"))"},
        {"a list", signer("ES256", ecP256).signJWTToString("[]"),
         R"(ClaimsError.malformed(claim: "", expected: "a JSON object"))"},
        {"typ", tokenBy("ES256", ecP256, good, {{"typ", "at+jwt"}}),
         R"(ClaimsError.wrongType(claim: "typ", expected: "\"JWT\" or missing"))"},
        {"expired", tokenBy("ES256", ecP256, JSONValue::Object{{"iss", "them"}, {"aud", "us"}, {"exp", 1000}}),
         R"(ClaimsError.expired(claim: "exp", expected: "a time after 1000"))"},
    };
    const TokenVerifier verifier(provider(), {"ES256", "PS256"}, policy());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_ERROR_TEXT(verifier.verify(row.token), row.error);
    }
    EXPECT_ERROR(TokenVerifier(provider(), {"ES256", "none"}, policy()),
                 JOSEError::algorithmNotSupported("Algorithm 'none' is not supported for signing/verifying data."));
    EXPECT_ERROR_TEXT(
        TokenVerifier(provider(), {}, policy()).verify(token),
        R"(TokenError.algorithmNotAllowed(description: "The token's \"alg\" is not one of those allowed (none)."))");
    Limits limits;
    limits.jsonMembers = 3;
    EXPECT_ERROR_TEXT(TokenVerifier(verifier).setLimits(limits).verify(token),
                      R"(ClaimsError.malformed(claim: "", expected: "a JSON object"))");
}

TEST(TokenVerifier, FetchesTheSetAgainForAnUnknownKidOncePerCooldown) {
    auto published = std::vector{jwk(rsaSig)};
    int fetches = 0;
    auto now = std::chrono::steady_clock::time_point();
    const KeySetSource source(
        [&] {
            ++fetches;
            return FetchedKeySet{json{{"keys", published}}.dump(), std::chrono::hours(1)};
        },
        {.cooldown = std::chrono::seconds(30), .clock = [&now] { return now; }});
    const TokenVerifier verifier(source, {"ES256", "RS256"}, policy());
    const auto token = tokenBy("ES256", ecP256);
    EXPECT_ERROR_TEXT(verifier.verify(tokenBy("RS256", rsaSig)), ok);
    EXPECT_ERROR_TEXT(verifier.verify(token), noKid);
    EXPECT_EQ(fetches, 1);

    now += std::chrono::seconds(31);
    EXPECT_ERROR_TEXT(verifier.verify(token), noKid);
    published.push_back(jwk(ecP256));
    EXPECT_ERROR_TEXT(verifier.verify(token), noKid);
    now += std::chrono::seconds(31);
    EXPECT_EQ(verifier.verify(token).key.keyId(), ecP256);
    EXPECT_EQ(fetches, 3);
}

TEST(MovedFrom, TokenVerifierAndNestedTokenKeepTheirKeys) {
    TokenVerifier verifier({publicJwk(ecP256, JWK_SIG)}, {"ES256"}, policy());
    EXPECT_ERROR_TEXT(movedFrom(verifier).verify(tokenBy("ES256", ecP256)), ok);
    NestedToken tokens({privateJwk(rsaSig2, JWK_SIG)}, {publicJwk(rsaEnc, JWK_ENC)}, Profiles::openBanking());
    EXPECT_ERROR_TEXT(movedFrom(tokens).encode("m"), ok);
}

TEST(TokenVerifier, DoesNotVerifyWithAPrivateKeyOfTheSet) {
    const TokenVerifier verifier({privateJwk(ecP256, JWK_SIG)}, {"ES256"}, policy());
    EXPECT_ERROR_TEXT(verifier.verify(tokenBy("ES256", ecP256)), noKid);
}

TEST(TokenVerifier, TakesAKeyFromTheHeaderOnlyIfItIsPinned) {
    const auto withKey = [](const std::string& kid, const json& key) {
        const auto header = json({{"alg", "ES256"}, {"jwk", key}}).dump();
        const auto key256 = *JOSE::Signer::create(JOSE::SignatureAlgorithm::ES256, privateKey(kid));
        return signedToken(header, asText(JSONSerialization::data(good)), key256);
    };
    const auto own = withKey(ecEncP256, jwk(ecEncP256, {{"use", nullptr}, {"alg", nullptr}}));
    const TokenVerifier ignores(setOf({jwk(ecP256)}), {"ES256"}, policy());
    const auto pins = TokenVerifier(ignores)
                          .pinHeaderKey(JOSE::JWK::initFrom(keyText(rsaSig, "jwk_public")).thumbprint())
                          .pinHeaderKey(JOSE::JWK::initFrom(keyText(ecEncP256, "jwk_public")).thumbprint());
    EXPECT_ERROR_TEXT(ignores.verify(own), wrongSignature);
    EXPECT_EQ(pins.verify(own).key.jwk(), JOSE::JWK::initFrom(keyText(ecEncP256, "jwk_public")));

    EXPECT_ERROR_TEXT(pins.verify(withKey(ecP256, jwk(ecEncP256, {{"use", nullptr}, {"alg", nullptr}}))),
                      wrongSignature);
    EXPECT_ERROR_TEXT(pins.verify(withKey(ecEncP256, jwk(ecEncP256, {{"use", "enc"}}))), noKey);
    for (const auto& ignored : {jwk(ecP256), json("text"), json::object(), jwk(ecP256, {{"x", "AA"}})}) {
        EXPECT_ERROR_TEXT(pins.verify(withKey(ecP256, ignored)), ok);
        EXPECT_ERROR_TEXT(pins.verify(withKey(ecEncP256, ignored)), wrongSignature);
    }
    const auto disclosed = jwk(ecEncP256, {{"use", nullptr}, {"alg", nullptr}, {"d", "AA"}});
    EXPECT_ERROR_TEXT(pins.verify(withKey(ecEncP256, disclosed)), wrongSignature);

    const JsonWebKey device(secp256k1KeyPair().privateKey, JWK_SIG, "device", secp256k1KeyPair().publicKey);
    const auto publicMembers = toJSONObject(device.publicHalf().encodeToDictionary());
    const auto token =
        JWSSigner("ES256K", device).signJWTToString(JSONSerialization::data(good), {{"jwk", publicMembers}});
    const TokenVerifier ofDevice(setOf({jwk(ecP256)}), {"ES256K"}, policy());
    EXPECT_ERROR_TEXT(TokenVerifier(ofDevice).pinHeaderKey(device.thumbprint()).verify(token), ok);
    EXPECT_ERROR_TEXT(ofDevice.verify(token), noKid);
}

}  // namespace
