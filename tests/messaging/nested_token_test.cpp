#include "torvane/messaging/nested_token.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;

NestedTokenProfile profileOf(JOSE::SignatureAlgorithm signature, JOSE::KeyManagementAlgorithm keyManagement,
                             JOSE::ContentEncryptionAlgorithm contentEncryption) {
    return {{signature}, {{keyManagement}, {contentEncryption}}};
}

// The pair of a kid, whose secp256k1 key is not a platform key.
JsonWebKey pairOf(const std::string& kid, JWKUse use) {
    if (kid != "d-sig-es256k") return privateJwk(kid, use);
    return {secp256k1KeyPair().privateKey, use, kid, secp256k1KeyPair().publicKey};
}

struct Parties {
    NestedToken sender, recipient;

    // The recipient does not sign, and the sender does not decrypt.
    Parties(const std::string& signingKid, const std::string& encryptionKid, const NestedTokenProfile& profile)
        : sender({pairOf(signingKid, JWK_SIG)}, {publicJwk(encryptionKid, JWK_ENC)}, profile),
          recipient({privateJwk(encryptionKid, JWK_ENC)}, {pairOf(signingKid, JWK_SIG).publicHalf()}, profile) {}
};

TEST(NestedToken, FollowsAPeerWhoChangesKeys) {
    const auto profile = profileOf(ES256, RSA_OAEP_256, A128GCM);
    std::vector<JsonWebKey> published{publicJwk(ecP384, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)};
    int fetches = 0;
    auto now = std::chrono::steady_clock::time_point();
    const KeySetSource source(
        [&] {
            ++fetches;
            return FetchedKeySet{JsonWebKeySet(published).encodeToString(), std::chrono::hours(1)};
        },
        {.cooldown = std::chrono::seconds(30), .clock = [&now] { return now; }});
    const NestedToken peer({privateJwk(ecP256, JWK_SIG)}, {publicJwk(rsaEnc2, JWK_ENC)}, profile);
    const NestedToken ours({privateJwk(rsaEnc2, JWK_ENC), privateJwk(ecP256, JWK_SIG)}, source, profile);
    const auto token = peer.encodeToString("by the new key");
    const auto* const noKey = R"(TokenError.keyNotFound(description: "No key that fits the token has its \"kid\"."))";
    EXPECT_ERROR_TEXT(ours.decode(token), noKey);

    published = {publicJwk(ecP256, JWK_SIG), publicJwk(rsaEnc, JWK_ENC), publicJwk(rsaEnc2, JWK_ENC)};
    EXPECT_ERROR_TEXT(ours.decode(token), noKey);
    now += std::chrono::seconds(31);
    EXPECT_EQ(asText(ours.decode(token).payload), "by the new key");
    EXPECT_EQ(fetches, 2);

    const auto encryptedTo = [&](const char* keyId) {
        return NestedToken(ours).setEncryptionKeyId(keyId).encodeToString("an answer");
    };
    EXPECT_EQ(JsonWebStructure::readHeader(encryptedTo(rsaEnc2.c_str()))->at("kid"), JSONValue(rsaEnc2));
}

TEST(NestedToken, ExchangesMessagesWithKeysOfEveryKind) {
    const struct {
        std::string signingKid, encryptionKid;
        NestedTokenProfile profile;
    } rows[] = {
        {rsaSig, rsaEnc, profileOf(RS256, RSA_OAEP_256, A128CBC_HS256)},
        {rsaSig2, ecEncP256, profileOf(PS384, ECDH_ES, A256GCM)},
        {ecP256, rsaEnc2, profileOf(ES256, RSA_OAEP, A192GCM)},
        {ecP384, ecEncP384, profileOf(ES384, ECDH_ES_A192KW, A256CBC_HS512)},
        {ecP521, ecEncP521, profileOf(ES512, ECDH_ES_A256KW, A128GCM)},
        {"d-sig-es256k", ecEncP256, profileOf(ES256K, ECDH_ES_A128KW, A192CBC_HS384)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.signingKid);
        const auto signature = std::string(rawValue(row.profile.signature.front()));
        const auto keyManagement = std::string(rawValue(row.profile.encryption.keyManagement.front()));
        const auto contentEncryption = std::string(rawValue(row.profile.encryption.contentEncryption.front()));
        const Parties parties(row.signingKid, row.encryptionKid, row.profile);
        for (const std::size_t size : {0U, 1U, 7000U}) {
            const std::string message(size, 'm');
            auto decoded = parties.recipient.decode(parties.sender.encodeToString(message));
            EXPECT_EQ(asText(decoded.payload), message);
            EXPECT_EQ(decoded.key.keyId(), row.signingKid);
            EXPECT_EQ(decoded.jwsHeader, (JSONValue::Object{{"alg", signature}, {"kid", row.signingKid}}));
            decoded.jweHeader.erase("epk");
            EXPECT_EQ(
                decoded.jweHeader,
                (JSONValue::Object{
                    {"alg", keyManagement}, {"cty", "JWT"}, {"enc", contentEncryption}, {"kid", row.encryptionKid}}));
        }
    }
}

TEST(NestedToken, WritesAndReadsTheTokensOfJOSEHelper) {
    const Parties parties(rsaSig, rsaEnc, profileOf(RS256, RSA_OAEP_256, A128CBC_HS256));
    const auto helper = [](const JsonWebKey& ours, const JsonWebKey& theirs) {
        return JOSEHelper::Builder().setSenderJwkSet({ours}).setRecipientJwkSet({theirs}).create();
    };
    const auto sender = helper(privateJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC));
    const auto recipient = helper(privateJwk(rsaEnc, JWK_ENC), publicJwk(rsaSig, JWK_SIG));
    EXPECT_EQ(asText(parties.recipient.decode(sender.encodeMessage("hello")).payload), "hello");

    auto withHeaders = parties.sender;
    withHeaders.setJwsHeaders({{"level", 2}}).setJweHeaders({{"route", "north"}});
    const auto enriched = parties.recipient.decode(withHeaders.encode("hello"));
    EXPECT_EQ(enriched.jwsHeader.at("level"), JSONValue(2));
    EXPECT_EQ(enriched.jweHeader.at("route"), JSONValue("north"));

    const auto decoded = recipient.decode(parties.sender.encode("hello"));
    EXPECT_EQ(asText(decoded.payload), "hello");
    EXPECT_EQ(decoded.key.keyId(), rsaSig);
    EXPECT_EQ(decoded.jwsHeader, (JSONValue::Object{{"alg", "RS256"}, {"kid", rsaSig}}));
    EXPECT_EQ(decoded.jweHeader.at("enc"), JSONValue("A128CBC-HS256"));
}

TEST(NestedToken, RejectsWhatTheProfileOrTheKeysDoNotAllow) {
    const auto profile = profileOf(ES256, ECDH_ES_A128KW, A128GCM);
    const Parties parties(ecP256, ecEncP256, profile);
    const JWEEncrypter encrypter(ECDH_ES_A128KW, A128GCM, publicKey(ecEncP256), ecEncP256);
    const auto wrap = [&encrypter](std::string_view jws) { return encrypter.encryptJWT(jws, {}, true); };
    const auto made = parties.sender.encode("m");
    const auto jws = JWSSigner(ES256, privateKey(ecP256), ecP256).signJWTToString("m");
    const auto error = [](const std::string& errorCase, const std::string& description) {
        return "TokenError." + errorCase + "(description: \"" + description + "\")";
    };
    const auto undecryptable = error("decryptionFailed", "The token could not be decrypted.");
    const auto another = [&](const std::string& signing, const std::string& encryption,
                             const NestedTokenProfile& other) {
        return Parties(signing, encryption, other).sender.encode("m");
    };
    const struct {
        const char* name;
        ByteBuffer token;
        std::string error;
    } rows[] = {
        {"right", wrap(jws), "nothing was thrown"},
        {"no token", bytesOf("a.b"),
         error("malformed", "The token is malformed. The compact serialisation does not have 5 parts.")},
        {"another alg", another(ecP256, ecEncP256, profileOf(ES256, ECDH_ES, A128GCM)),
         error("algorithmNotAllowed", R"(The token's \"alg\" is not one of those allowed (ECDH-ES+A128KW).)")},
        {"another enc", another(ecP256, ecEncP256, profileOf(ES256, ECDH_ES_A128KW, A256GCM)),
         error("algorithmNotAllowed", R"(The token's \"enc\" is not one of those allowed (A128GCM).)")},
        {"another JWS alg", another(ecP384, ecEncP256, profileOf(ES384, ECDH_ES_A128KW, A128GCM)),
         error("algorithmNotAllowed", R"(The token's \"alg\" is not one of those allowed (ES256).)")},
        {"for somebody else", another(ecP256, ecEncP384, profile),
         error("keyNotFound", "No key can decrypt the token.")},
        {"by somebody else", wrap(JWSSigner(ES256, privateKey(ecEncP256), ecEncP256).signJWTToString("m")),
         error("keyNotFound", R"(No key that fits the token has its \"kid\".)")},
        {"by somebody else as the peer", wrap(JWSSigner(ES256, privateKey(ecEncP256), ecP256).signJWTToString("m")),
         error("wrongSignature", "The signature of the token does not verify.")},
        {"encrypted key", withFlippedBit(made, 1), undecryptable},
        {"initialization vector", withFlippedBit(made, 2), undecryptable},
        {"ciphertext", withFlippedBit(made, 3), undecryptable},
        {"tag", withFlippedBit(made, 4), undecryptable},
        {"epk", withHeader(made, R"({"alg":"ECDH-ES+A128KW","enc":"A128GCM","kid":"d-enc-ecdh","epk":{}})"),
         undecryptable},
        {"no JWS inside", wrap("hello"),
         error("malformed", "The token is malformed. The compact serialisation does not have 3 parts.")},
        {"a part too many inside", wrap(jws + ".AA"),
         error("malformed", "The token is malformed. The compact serialisation does not have 3 parts.")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_ERROR_TEXT(parties.recipient.decode(row.token), row.error);
    }
    Limits limits;
    limits.tokenBytes = made.size() - 1;
    EXPECT_ERROR_TEXT(NestedToken(parties.recipient).setLimits(limits).decode(made),
                      error("malformed", "The token is malformed. The token is longer than " +
                                             std::to_string(made.size() - 1) + " bytes."));
}

TEST(NestedToken, NeedsExactlyOneKeyUnlessOneIsNamed) {
    const auto profile = Profiles::fapi2MessageSigning();
    const JsonWebKeySet ours{privateJwk(ecP256, JWK_SIG), privateJwk(rsaSig, JWK_SIG), privateJwk(rsaSig2, JWK_SIG)};
    const JsonWebKeySet theirs{publicJwk(rsaEnc, JWK_ENC), publicJwk(rsaEnc2, JWK_ENC), publicJwk(ecEncP256, JWK_ENC)};
    const auto error = [](const std::string& what) { return "TokenError.keyNotFound(description: \"" + what + "\")"; };
    const NestedToken tokens(ours, theirs, profile);
    EXPECT_ERROR_TEXT(tokens.encode("m"), error("More than one key can sign."));
    EXPECT_ERROR_TEXT(NestedToken(tokens).setSigningKeyId("x").encode("m"), error("No key can sign."));
    EXPECT_ERROR_TEXT(NestedToken(tokens).setSigningKeyId(ecP256).encode("m"),
                      error("More than one key can be encrypted to."));

    const auto token = NestedToken(tokens).setSigningKeyId(ecP256).setEncryptionKeyId(ecEncP256).encode("m");
    EXPECT_EQ(json::parse(headerText(token)).at("alg"), "ECDH-ES+A256KW");
    const JsonWebKeySet decryption{privateJwk(rsaEnc, JWK_ENC), privateJwk(ecEncP256, JWK_ENC)};
    EXPECT_EQ(NestedToken(decryption, ours.publicSet(), profile).decode(token).jwsHeader.at("alg"), JSONValue("ES256"));

    EXPECT_ERROR_TEXT(
        NestedToken({privateJwk(ecP256, JWK_SIG)}, {publicJwk(ecEncP256, JWK_ENC)}, {{ES256}, {{ECDH_ES}, {}}})
            .encode("m"),
        R"(TokenError.algorithmNotAllowed(description: "The profile allows no \"enc\"."))");
    const auto anonymous = JWEEncrypter(RSA_OAEP_256, A256GCM, publicKey(rsaEnc), std::nullopt).encryptJWT("m");
    EXPECT_ERROR_TEXT(
        NestedToken({privateJwk(rsaEnc, JWK_ENC), privateJwk(rsaEnc2, JWK_ENC)}, {}, profile).decode(anonymous),
        error("More than one key can decrypt the token."));
    const std::pair<json, const char*> operations[]{{{"wrapKey"}, "nothing was thrown"},
                                                    {{"sign", "encrypt"}, "nothing was thrown"},
                                                    {{"deriveKey", "unwrapKey"}, nullptr}};
    for (const auto& [names, expected] : operations) {
        auto members = json::parse(keyText(rsaEnc, "jwk_public"));
        members["key_ops"] = names;
        const NestedToken to({privateJwk(ecP256, JWK_SIG)},
                             JsonWebKeySet::readKnown(json({{"keys", {members}}}).dump()).set, profile);
        EXPECT_ERROR_TEXT(to.encode("m"), expected ? expected : error("No key can be encrypted to."));
    }
    const JsonWebKey notPrivate(publicKey(rsaEnc), KeyClass::privateKey, Zennet::KeyType::RSA2048Key, JWK_ENC, "x");
    EXPECT_ERROR_TEXT(NestedToken({notPrivate}, {}, profile).decode(anonymous), error("No key can decrypt the token."));
}

TEST(Profiles, AllowTheAlgorithmsOfTheirStandards) {
    const auto fapi = Profiles::fapi2MessageSigning();
    EXPECT_EQ(fapi.signature, (std::vector{PS256, ES256}));
    const Parties parties(rsaSig, rsaEnc, profileOf(RS256, RSA_OAEP_256, A256GCM));
    EXPECT_ERROR_TEXT(
        NestedToken({privateJwk(rsaEnc, JWK_ENC)}, {publicJwk(rsaSig, JWK_SIG)}, fapi)
            .decode(parties.sender.encode("m")),
        R"(TokenError.algorithmNotAllowed(description: "The token's \"alg\" is not one of those allowed (PS256, ES256)."))");

    const Parties banking(rsaSig2, rsaEnc, Profiles::openBanking());
    const auto decoded = banking.recipient.decode(banking.sender.encode("m"));
    EXPECT_EQ(decoded.jwsHeader.at("alg"), JSONValue("PS256"));
    EXPECT_EQ(decoded.jweHeader.at("alg"), JSONValue("RSA-OAEP"));
    EXPECT_EQ(decoded.jweHeader.at("enc"), JSONValue("A256GCM"));
}

TEST(Profiles, EncryptAResponseOnP256Only) {
    const auto profile = Profiles::openID4VPResponse();
    const auto ours = privateJwk(ecEncP256, JWK_ENC);
    const auto token = profile.encrypter({ours.publicHalf()}).encryptJWTToString("m");
    EXPECT_EQ(json::parse(headerText(asBytes(token))).at("enc"), "A128GCM");
    EXPECT_EQ(asText(profile.decrypt(token, {ours})), "m");

    const auto large = JWEEncrypter(ECDH_ES, A256GCM, publicKey(ecEncP256), ecEncP256).encryptJWTToString("m");
    EXPECT_EQ(asText(profile.decrypt(large, {privateJwk(rsaEnc, JWK_ENC), ours})), "m");
    const auto error = [](const std::string& what) { return "TokenError." + what + "\")"; };
    EXPECT_ERROR_TEXT(profile.encrypter({publicJwk(ecEncP384, JWK_ENC)}),
                      error("keyNotFound(description: \"No key can be encrypted to."));
    const auto other = JWEEncrypter(ECDH_ES, A128GCM, publicKey(ecEncP384), std::nullopt).encryptJWTToString("m");
    EXPECT_ERROR_TEXT(profile.decrypt(other, {privateJwk(ecEncP384, JWK_ENC)}),
                      error("keyNotFound(description: \"No key can decrypt the token."));
    EXPECT_ERROR_TEXT(profile.decrypt(withFlippedBit(asBytes(token), 4), {ours}),
                      error("decryptionFailed(description: \"The token could not be decrypted."));
    const auto wrapped = JWEEncrypter(ECDH_ES_A128KW, A128GCM, publicKey(ecEncP256), std::nullopt).encryptJWT("m");
    EXPECT_ERROR_TEXT(
        profile.decrypt(wrapped, {ours}),
        error(R"(algorithmNotAllowed(description: "The token's \"alg\" is not one of those allowed (ECDH-ES).)"));
}

}  // namespace
