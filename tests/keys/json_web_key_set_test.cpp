#include "torvane/keys/json_web_key_set.hpp"

#include "torvane/platform/jose/jwk_set.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

JSONValue::Object object(const json& value) {
    const auto text = value.dump();
    return *JSONSerialization::jsonObject(asBytes(text)).as<JSONValue::Object>();
}

// The JWK with members replaced, or removed where null.
json patched(json jwk, const json& patch) {
    jwk.merge_patch(patch);
    return jwk;
}

json secp256k1Json(const json& patch = {{"use", "sig"}}) {
    const auto& [privateKey, publicKey] = secp256k1KeyPair();
    return patched(JsonWebKey(privateKey, JWK_SIG, "s", publicKey).encodeToDictionary(), patch);
}

std::vector<std::string> ids(const std::vector<JsonWebKey>& keys) {
    std::vector<std::string> result;
    result.reserve(keys.size());
    for (const auto& key : keys) result.push_back(key.keyId());
    return result;
}

JsonWebKeySet mixedSet() {
    const auto& [secpPrivate, secpPublic] = secp256k1KeyPair();
    const JOSE::RSAPublicKey withAlg(publicKey(rsaEnc), {{"kid", "alg"}, {"use", "sig"}, {"alg", "PS256"}});
    return {publicJwk(rsaSig, JWK_SIG),
            privateJwk(rsaEnc, JWK_ENC),
            JsonWebKey(secpPublic, JWK_SIG, "secp-public"),
            JsonWebKey(secpPrivate, JWK_SIG, "secp-private", secpPublic),
            publicJwk(ecP256, JWK_SIG_ENC),
            JsonWebKey(withAlg),
            JsonWebKey(Zennet::PublicKey(publicKey(ecP384), std::nullopt), JWK_ENC, "untyped")};
}

TEST(JsonWebKeySet, FindsKeysByEveryCriterion) {
    forEachRow("key_lookups.json", "lookups", 15, [set = mixedSet()](const json& row) {
        JSONValue::Object header;
        for (const auto& [name, member] : object(row["header"])) {
            auto& criterion = header[name.substr(0, name.find(' '))] = member;
            if (name == "use") criterion = JSONValue::opaque(fromRawValue<JWKUse>(*member.as<std::string>()).value());
            if (name == "kty") criterion = JSONValue::opaque(KeyType::RSA2048Key);
        }
        const auto keyClass = row["class"] == "public" ? KeyClass::publicKey : KeyClass::privateKey;
        EXPECT_EQ(json(ids(set.findKeysFor(header, keyClass))), row["found"]);
    });
}

TEST(JsonWebKeySet, QueryWithoutAClassFindsBothClasses) {
    const auto set = mixedSet();
    EXPECT_EQ(ids(set.find({})), ids({set.begin(), set.end()}));
    EXPECT_EQ(ids(set.find({.use = JWK_SIG, .algorithm = "RS256"})),
              (std::vector<std::string>{rsaSig, "secp-public", "secp-private"}));
}

TEST(JsonWebKeySet, KnowsItsSize) {
    EXPECT_EQ(mixedSet().size(), 7U);
    EXPECT_FALSE(mixedSet().isEmpty());
    EXPECT_TRUE(JsonWebKeySet().isEmpty());
    const std::vector keys(3, publicJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(JsonWebKeySet(keys).size(), 3U);
}

TEST(JsonWebKeySet, PublicSetHoldsEachPublicKeyOnce) {
    const auto& [secpPrivate, secpPublic] = secp256k1KeyPair();
    const JsonWebKeySet set{privateJwk(rsaSig, JWK_SIG),          publicJwk(rsaEnc, JWK_ENC),
                            publicJwk(rsaSig, JWK_SIG),           JsonWebKey(secpPrivate, JWK_SIG, "s"),
                            privateJwk(rsaEnc, JWK_ENC),          privateJwk(rsaSig, JWK_ENC),
                            JsonWebKey(secpPublic, JWK_SIG, "s"), JsonWebKey(publicKey(rsaEnc), JWK_SIG, rsaSig)};
    const auto published = set.publicSet();
    EXPECT_EQ(ids(published.jwks), (std::vector<std::string>{rsaSig, rsaEnc, "s", rsaSig, rsaSig}));
    EXPECT_EQ(published.find({.keyClass = KeyClass::publicKey}).size(), published.size());
    EXPECT_EQ(published.jwks.at(3).use(), JWK_ENC);
    EXPECT_EQ(published.jwks.at(4).thumbprint(), publicJwk(rsaEnc, JWK_SIG).thumbprint()) << "another key of that id";
    EXPECT_ERROR(JsonWebKeySet{keyInWords("private secp256k1-zero sig")}.publicSet(),
                 SecurityError("The raw bytes are not a secp256k1 private key."));
}

// What a value answers after another has been made of it by moving.
template <class T, class Ask>
auto answerAfterMove(T value, Ask ask) {
    const T taken = std::move(value);
    return ask(value);  // NOLINT(bugprone-use-after-move)
}

TEST(MovedFrom, KeysAndSetsAreSafeToUse) {
    const JOSE::RSAPublicKey jwk(publicKey(rsaSig), {});
    EXPECT_EQ(answerAfterMove(publicJwk(rsaSig, JWK_SIG), [](auto& key) { return key.keyId(); }), rsaSig);
    EXPECT_EQ(answerAfterMove(publicKey(rsaSig), [](auto& key) { return key.signatureSize(); }), 256U);
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move)
    EXPECT_EQ(answerAfterMove(jwk, [](auto& key) { return key["kty"]; }), "RSA");
    EXPECT_TRUE(answerAfterMove(JOSE::JWKSet({jwk}), [](auto& set) { return set.keys().empty(); }));
    EXPECT_TRUE(answerAfterMove(secp256k1KeyPair().publicKey, [](auto& key) { return key.isPublicKey(); }));
    EXPECT_FALSE(answerAfterMove(Zennet::Key(privateKey(rsaSig)), [](auto& key) { return key.isPublicKey(); }));
    EXPECT_EQ(answerAfterMove(mixedSet(), [](auto& set) { return set.encodeToString(); }), R"({"keys":[]})");
}

TEST(JsonWebKeySet, RejectsMalformedDictionaries) {
    const std::map<std::string, json> good{{"RSA", publicJwk(rsaSig, JWK_SIG).encodeToDictionary()},
                                           {"secp256k1", secp256k1Json()}};
    forEachRow("jwk_set_rejections.json", "dictionaries", 27, [&](const json& row) {
        auto set = row["set"];
        if (set.contains("keys")) {
            for (auto& key : set["keys"]) {
                if (key.is_array()) key = patched(good.at(key[0]), key[1]);
            }
        }
        EXPECT_ERROR_TEXT(JsonWebKeySet(object(set)), row["error"]);
    });
    const JSONValue::Object notUtf8{{"kty", "oct"}, {"n", "\xff"}}, withoutType{{"n", "\xff"}};
    const auto invalid = JsonSerializeError::failedToParseJson("Invalid parameters in the dictionary.");
    const auto missing = JOSEError::cannotDecodeJWK(nullptr, "Missing key type in JWK.");
    const auto read = [](const auto&... entries) {
        return JsonWebKeySet(JSONValue::Object{{"keys", JSONValue::List::of(entries...)}});
    };
    EXPECT_ERROR(read(notUtf8, withoutType), invalid);
    EXPECT_ERROR(read(withoutType, notUtf8), missing);
}

TEST(JsonWebKeySet, RoundTripsSecp256k1Keys) {
    const auto& [privateKey, publicKey] = secp256k1KeyPair();
    const JsonWebKeySet set(object(
        {{"keys", {secp256k1Json({{"use", "enc"}}), secp256k1Json({{"d", nullptr}}), secp256k1Json({{"d", "*"}})}}}));
    const auto& pair = set.jwks.at(0);
    EXPECT_EQ(pair.use(), JWK_SIG) << "the use member is passed over";
    EXPECT_FALSE(pair.key().isPublicKey());
    EXPECT_TRUE(std::ranges::equal(*pair.key().keyData(), *privateKey.keyData()));
    EXPECT_TRUE(std::ranges::equal(*pair.pairingKey()->keyData(), *publicKey.keyData()));
    EXPECT_TRUE(set.jwks.at(1).key().isPublicKey());
    EXPECT_TRUE(set.jwks.at(2).key().isPublicKey()) << "a \"d\" that does not decode makes a public key";

    JSONValue::List again;
    for (const auto& map : set.encodeToArray()) again.emplace_back(toJSONObject(map));
    const JsonWebKeySet reread(JSONValue::Object{{"keys", again}});
    ASSERT_EQ(reread.jwks.size(), 2U) << "private keys are left out";
    EXPECT_EQ(reread.jwks.at(0).encode(), set.jwks.at(1).encode());
    EXPECT_EQ(set.encodeToString(), R"({"keys":[]})");
}

TEST(JsonWebKeySet, RoundTripsPublicKeysOnly) {
    const auto set = mixedSet();
    const auto text = set.encodeToString();
    EXPECT_EQ(bytesOf(text), set.encode());
    EXPECT_EQ(set.debugDescription(), text);
    const JsonWebKeySet reread(text);
    EXPECT_EQ(ids(reread.jwks), (std::vector<std::string>{rsaSig, ecP256, "alg", "untyped"}));
    EXPECT_EQ(reread.encodeToString(), text);

    const JsonWebKeySet secret{JsonWebKey::fromPrivateJwk(keyText(rsaEnc, "jwk_private"), JWK_ENC, "k")};
    EXPECT_EQ(secret.encodeToString(), R"({"keys":[]})");
    EXPECT_TRUE(secret.encodeToArray().empty());
}

TEST(JsonWebKeySet, ReadsASetWithoutKeys) {
    EXPECT_TRUE(JsonWebKeySet(asBytes(R"({"keys":[]})")).jwks.empty());
}

TEST(JsonWebKeySet, RejectsBytesWithOneWrongKey) {
    forEachHostileRow("hostile_keys.json", "sets", 5, [](const json& row) { JsonWebKeySet{bytesOf(row["text"])}; });
}

TEST(JsonWebKeySet, RejectsKeysThatCannotBeWritten) {
    const JsonWebKeySet set{JsonWebKey(Zennet::PublicKey(publicKey(ecP256), KeyType::EC256Key), JWK_SIG, "\xff")};
    EXPECT_ERROR(set.encode(), JOSEError::cannotEncodeJWK(
                                   wrapped(JSONError("A string that is not UTF-8 cannot be written as JSON."))));
    EXPECT_ERROR(set.encodeToArray(), JOSEError::cannotEncodeJWK(nullptr, "Failed to encode JWK to JSON."));
    EXPECT_EQ(set.debugDescription(), "An error occurred while performing the operation.");
}

TEST(JsonWebKeySetDeathTest, AKeyWithoutATypeStopsTheProcess) {
    const Zennet::PrivateKey untyped(privateKey(ecP384), std::nullopt);
    for (const auto& set : {mixedSet(), JsonWebKeySet{JsonWebKey(untyped, JWK_SIG, "private")}}) {
        EXPECT_DEATH(static_cast<void>(set.encodeToArray()), "torvane: a key without a key type cannot be encoded\n");
    }
}

}  // namespace
