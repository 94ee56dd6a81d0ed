#include <set>

#include "torvane/keys/json_web_key_set.hpp"

#include "tests/testing/testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

json publicMembers(const std::string& kid) {
    return json::parse(keyText(kid, "jwk_public"));
}

json privateMembers(const std::string& kid) {
    return json::parse(keyText(kid, "jwk_private"));
}

// The JWK with members replaced, or removed where null.
json changed(json jwk, const json& patch) {
    jwk.merge_patch(patch);
    return jwk;
}

json secp256k1Members(const json& patch = json::object()) {
    const auto& [privateKey, publicKey] = secp256k1KeyPair();
    return changed(JsonWebKey(privateKey, JWK_SIG, "k1", publicKey).encodeToDictionary(), patch);
}

// Place, id and reason.
std::vector<std::string> leftOut(const KnownKeys& known) {
    std::vector<std::string> rows;
    for (const auto& [index, keyId, reason] : known.leftOut) {
        rows.push_back(std::to_string(index) + " " + keyId.value_or("-") + ": " + reason);
    }
    return rows;
}

std::string setOf(const std::vector<json>& keys) {
    return json{{"keys", keys}}.dump();
}

TEST(KnownKeys, OneUnknownKeyDoesNotHideTheOthers) {
    const auto signing = publicMembers(rsaSig), point = publicMembers(ecP256);
    const json certificate{
        {"x5c", {std::string(1400, 'M')}}, {"x5t", "abc"}, {"key_ops", {"verify"}}, {"use", nullptr}};
    const auto known = JsonWebKeySet::readKnown(setOf(
        {changed(signing, certificate),
         {{"kty", "OKP"}, {"crv", "Ed25519"}, {"kid", "ed"}, {"x", "11qYAYKxCrfVS_7TyWQHOg7hcvPapiMlrwIaaPcHURo"}},
         changed(point, {{"kid", nullptr}, {"alg", nullptr}, {"use", nullptr}}),
         changed(point, {{"kid", signing["kid"]}, {"use", "enc"}}),
         secp256k1Members({{"use", "sig"}, {"key_ops", {"sign", "verify"}}}),
         secp256k1Members({{"kid", nullptr}, {"alg", nullptr}, {"d", "not base64url"}}),
         changed(signing, {{"use", "tls"}, {"kid", 7}}),
         "not a key",
         changed(point, {{"y", point["x"]}}),
         changed(signing, {{"n", nullptr}}),
         {{"kty", "oct"}, {"k", "c2VjcmV0"}, {"kid", "shared"}},
         changed(point, {{"crv", "P-224"}}),
         {{"kid", "no kty"}},
         secp256k1Members({{"alg", "ES256"}}),
         secp256k1Members({{"y", secp256k1Members()["x"]}}),
         secp256k1Members({{"key_ops", {"sign", 7}}}),
         secp256k1Members({{"key_ops", "verify"}}),
         changed(signing, {{"n", std::string(170, 'x') + 'E'}}),  // 1024 bits
         changed(signing, {{"e", "AQ"}}),
         secp256k1Members({{"kty", "oct"}}),
         secp256k1Members({{"alg", {"ES256K"}}})}));

    std::vector<std::pair<JWKUse, std::string>> keys;
    for (const auto& key : known.set) {
        EXPECT_TRUE(key.key().isPublicKey());
        keys.emplace_back(key.use(), key.keyId().size() == 36 ? "random" : key.keyId());
    }
    EXPECT_EQ(keys, (std::vector<std::pair<JWKUse, std::string>>{{JWK_SIG_ENC, rsaSig},
                                                                 {JWK_SIG_ENC, "random"},
                                                                 {JWK_ENC, rsaSig},
                                                                 {JWK_SIG, "k1"},
                                                                 {JWK_SIG_ENC, "random"}}));
    EXPECT_EQ(known.set.jwks[0].key().keyRef()->publicComponents(), publicKey(rsaSig).publicComponents());
    const std::string unusable =
        "An RSA key needs 2048 to 16384 bits, and an odd exponent of 3 or more in at most 64 bits.";
    EXPECT_EQ(
        leftOut(known),
        (std::vector<std::string>{
            "1 ed: The JWK is neither an RSA nor an EC key.", "6 -: The JWK's \"use\" is neither \"sig\" nor \"enc\".",
            "7 -: A key of the JWK Set is not a JSON object.",
            "8 " + ecP256 + ": Failed to build a key from its components.",
            "9 " + rsaSig + ": The JWK's \"n\" is missing or not a string.",
            "10 shared: The JWK is neither an RSA nor an EC key.",
            "11 " + ecP256 + ": The JWK's curve is not P-256, P-384 or P-521.",
            "12 no kty: The JWK's \"kty\" is missing or not a string.",
            "13 k1: The \"alg\" of a secp256k1 key is ES256K.",
            "14 k1: The \"x\" and \"y\" of the JWK are not a point of secp256k1.",
            "15 k1: The \"key_ops\" of the secp256k1 key lack \"verify\".",
            "16 k1: The \"key_ops\" of the secp256k1 key lack \"verify\".", "17 " + rsaSig + ": " + unusable,
            "18 " + rsaSig + ": " + unusable, "19 k1: The JWK is neither an RSA nor an EC key.",
            "20 k1: The \"alg\" of a secp256k1 key is ES256K."}));
}

TEST(KnownKeys, ReadsASetOf100KBWithOneIdForAllKeys) {
    const json certificate{{"x5c", {std::string(1400, 'M')}}, {"x5t#S256", std::string(43, 'A')}};
    const auto text = setOf(std::vector<json>(60, changed(publicMembers(rsaSig), certificate)));
    EXPECT_GT(text.size(), 100'000U);
    EXPECT_EQ(JsonWebKeySet::readKnown(text).set.find({.keyId = rsaSig, .use = JWK_SIG}).size(), 60U);
}

TEST(KnownKeys, MembersThatAreNotTextAreKeptButNeverWritten) {
    const json others{{"x5c", {"MIIB"}}, {"key_ops", {"verify"}}, {"ext", true}, {"oth", {{{"r", "AA"}}}}, {"n2", 5}};
    const auto known = JsonWebKeySet::readKnown(setOf({changed(publicMembers(rsaSig), others)}));
    const auto& jwk = *known.set.jwks.at(0).jwk();
    EXPECT_EQ(jwk.otherMembers(), (JSONValue::Object{{"x5c", JSONValue::List::of("MIIB")},
                                                     {"key_ops", JSONValue::List::of("verify")},
                                                     {"ext", true},
                                                     {"n2", 5}}));
    for (const auto* name : {"x5c", "key_ops", "ext", "oth", "n2"}) {
        EXPECT_FALSE(jwk.parameters().contains(name)) << name;
        EXPECT_EQ(known.set.encodeToString().find(name), std::string::npos) << name;
        EXPECT_EQ(known.set.jwks[0].encodeToString()->find(name), std::string::npos) << name;
    }
}

TEST(KnownKeys, ReadsPrivateKeys) {
    const auto rsa = privateMembers(rsaEnc), ec = privateMembers(ecP384);
    const auto known = JsonWebKeySet::readPrivate(setOf({rsa,
                                                         changed(ec, {{"kid", nullptr}}),
                                                         secp256k1Members(),
                                                         publicMembers(rsaSig),
                                                         changed(rsa, {{"d", "AQ"}}),
                                                         changed(rsa, {{"oth", {{{"r", "AA"}}}}}),
                                                         changed(ec, {{"d", privateMembers(ecEncP384)["d"]}}),
                                                         secp256k1Members({{"d", "AQ"}}),
                                                         secp256k1Members({{"key_ops", {"verify"}}}),
                                                         {{"kty", "oct"}, {"k", "c2VjcmV0"}, {"d", "AQ"}}}));
    ASSERT_EQ(known.set.size(), 3U);
    for (const auto& key : known.set) EXPECT_FALSE(key.key().isPublicKey()) << key.keyId();
    EXPECT_EQ(known.set.jwks[0].keyId(), rsaEnc);
    EXPECT_EQ(known.set.jwks[0].use(), JWK_ENC);
    EXPECT_EQ(known.set.jwks[1].keyId(), publicJwk(ecP384, JWK_SIG).thumbprint());
    const JWEDecrypter decrypter("RSA-OAEP-256", "A128GCM", known.set.jwks[0]);
    const auto token =
        JWEEncrypter("RSA-OAEP-256", "A128GCM", publicKey(rsaEnc), std::nullopt).encryptJWT(asBytes("hi"));
    EXPECT_EQ(asText(decrypter.decryptJWE(token)), "hi");
    const auto signature = JWSSigner("ES256K", known.set.jwks[2]).signJWT(asBytes("hi"));
    EXPECT_EQ(asText(JWSVerifier("ES256K", known.set.jwks[2].publicHalf()).verifyJWS(signature)), "hi");

    const std::string notAPair = "The private key does not match its public key.";
    EXPECT_EQ(leftOut(known),
              (std::vector<std::string>{
                  "3 " + rsaSig + ": The JWK is not a private key.", "4 " + rsaEnc + ": " + notAPair,
                  "5 " + rsaEnc + ": An RSA key of more than two primes is not supported.",
                  "6 " + ecP384 + ": " + notAPair, "7 k1: The \"d\" of the JWK is not the private key of its point.",
                  "8 k1: The \"key_ops\" of the secp256k1 key lack \"sign\".",
                  "9 -: The JWK is neither an RSA nor an EC key."}));
}

TEST(KnownKeys, RejectsTextThatIsNotASet) {
    const auto malformed = [](const std::string& why) {
        return JOSEError::cannotDecodeJWK(wrapped(JOSESwiftError::parsingFailed(why)));
    };
    const std::string noList = "The JWK Set is not a JSON object with a list \"keys\".";
    for (const auto* text : {"{}", "[]", R"({"keys":{}})", R"({"keys":null})"}) {
        EXPECT_ERROR(JsonWebKeySet::readKnown(text), malformed(noList));
        EXPECT_ERROR(JsonWebKeySet::readPrivate(text), malformed(noList));
    }
    EXPECT_ERROR(JsonWebKeySet::readKnown("{"),
                 malformed("The JWK Set cannot be read. The text is not JSON: unexpected end at byte 2."));
    EXPECT_ERROR(
        JsonWebKeySet::readKnown(R"({"keys":[{"kty":"oct"}]})", {.jsonMembers = 2}),
        malformed("The JWK Set cannot be read. The text is not JSON: lists and objects have too many members."));
    EXPECT_TRUE(JsonWebKeySet::readKnown(R"({"keys":[]})").set.isEmpty());
    const auto known = JsonWebKeySet::readKnown(setOf({publicMembers(rsaSig)}), {.rsaBits = 1024});
    EXPECT_EQ(leftOut(known), std::vector{"0 " + rsaSig + ": The RSA modulus has more than 1024 bits."});
}

TEST(KnownKeys, AQueryMayAcceptKeysForBothUses) {
    const JsonWebKeySet set{publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC), publicJwk(ecP256, JWK_SIG_ENC)};
    const auto ids = [&](const KeyQuery& query) {
        std::set<std::string> found;
        for (const auto& key : set.find(query)) found.insert(key.keyId());
        return found;
    };
    EXPECT_EQ(ids({.use = JWK_SIG}), (std::set{rsaSig}));
    EXPECT_EQ(ids({.use = JWK_SIG, .acceptBothUses = true}), (std::set{rsaSig, ecP256}));
    EXPECT_EQ(ids({.use = JWK_ENC, .acceptBothUses = true}), (std::set{rsaEnc, ecP256}));
    EXPECT_EQ(ids({.use = JWK_SIG_ENC, .acceptBothUses = true}), (std::set{ecP256}));
}

}  // namespace
