#include "torvane/messaging/jose_helper.hpp"

#include <map>

#include "torvane/messaging/internal/nested_message.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

// Two parties, A and B, each with a key to sign and one to decrypt.
const std::string sigA = rsaSig, encA = rsaEnc, sigB = rsaSig2, encB = rsaEnc2;

JsonWebKeySet privateSet(const std::string& sig, const std::string& enc) {
    return {privateJwk(sig, JWK_SIG), privateJwk(enc, JWK_ENC)};
}

JsonWebKeySet publicSet(const std::string& sig, const std::string& enc) {
    return {publicJwk(sig, JWK_SIG), publicJwk(enc, JWK_ENC)};
}

// The codec of A, and of B; what is not of interest to a test is set up to work.
struct Party {
    JsonWebKeySet ours = privateSet(sigA, encA);
    JsonWebKeySet theirs = publicSet(sigB, encB);
    std::optional<std::string> signingKeyId = sigA;
    std::optional<std::string> encryptionKeyId = encB;
    std::string jws = "RS256";
    std::string keyManagement = "RSA-OAEP-256";
    std::string contentEncryption = "A128CBC-HS256";
    StringMap jwsHeaders = {}, jweHeaders = {};

    JOSEHelper helper() const {
        return JOSEHelper::Builder()
            .setSenderJwkSet(ours, signingKeyId)
            .setRecipientJwkSet(theirs, encryptionKeyId)
            .setJWSAlgorithm(jws)
            .setJWEKeyManagementAlgorithm(keyManagement)
            .setJWEContentEncryptionAlgorithm(contentEncryption)
            .addJwsHeaders(jwsHeaders)
            .addJweHeaders(jweHeaders)
            .create();
    }
};

Party partyB() {
    return {
        .ours = privateSet(sigB, encB), .theirs = publicSet(sigA, encA), .signingKeyId = sigB, .encryptionKeyId = encA};
}

TEST(JOSEHelper, CrossedHelpersExchangeMessagesOfEverySize) {
    const auto a = Party().helper();
    const auto b = partyB().helper();
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1000U, 1U << 20}) {
        const ByteBuffer message(size, static_cast<std::uint8_t>(size));
        EXPECT_EQ(b.decodeMessage(a.encodeMessage(message)), message) << size;
        EXPECT_EQ(a.decodeMessage(b.encodeMessage(message)), message) << size;
    }
}

// The headers of a token for B: that of the JWE, and that of the JWS inside.
std::pair<std::string, std::string> headersOf(const ByteBuffer& token) {
    const JWEDecrypter decrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey(encB));
    return {headerText(token), headerText(decrypter.decryptJWE(token))};
}

TEST(JOSEHelper, NamesBothKeysInTheHeaders) {
    const auto [outer, inner] = headersOf(Party().helper().encodeMessage("m"));
    EXPECT_EQ(outer, R"({"alg":"RSA-OAEP-256","cty":"JWT","enc":"A128CBC-HS256","kid":"d-enc-oaep"})");
    EXPECT_EQ(inner, R"({"alg":"RS256","kid":"d-sig-rs256"})");
}

TEST(JOSEHelper, LeavesOutTheKidOfAKeyThatWasNotNamed) {
    Party a;
    a.signingKeyId = a.encryptionKeyId = std::nullopt;
    const auto token = a.helper().encodeMessage("m");
    const auto [outer, inner] = headersOf(token);
    EXPECT_EQ(outer, R"({"alg":"RSA-OAEP-256","cty":"JWT","enc":"A128CBC-HS256"})");
    EXPECT_EQ(inner, R"({"alg":"RS256","kid":"d-sig-rs256"})") << "the JWS always names its key";
    EXPECT_EQ(partyB().helper().decodeMessage(token), bytesOf("m"));
}

TEST(JOSEHelper, BuilderForgetsReplacedSettings) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(privateSet(sigA, encA), "gone").setSenderJwkSet(privateSet(sigA, encA));
    builder.setRecipientJwkSet(publicSet(sigB, encB), "gone").setRecipientJwkSet(publicSet(sigB, encB));
    builder.addJwsHeaders({{"a", "1"}}).addJwsHeaders({{"typ", "JWT"}, {"alg", "none"}});
    builder.addJweHeaders({{"b", "1"}}).addJweHeaders(std::nullopt).addJweHeaders(std::optional<StringMap>());
    builder.addJweHeaders({}).addJweHeaders(StringMap{{"b", "2"}}).addJweHeaders({{"x", "y"}, {"cty", "text"}});
    const auto [outer, inner] = headersOf(builder.create().encodeMessage("m"));
    EXPECT_EQ(outer, R"({"alg":"RSA-OAEP-256","cty":"JWT","enc":"A128CBC-HS256","x":"y"})");
    EXPECT_EQ(inner, R"({"alg":"RS256","kid":"d-sig-rs256","typ":"JWT"})");
}

// The attacker has a key, a certificate for it, and the id of A's key.
TEST(JOSEHelper, NeverUsesAKeyThatAHeaderContains) {
    const auto attackersKey = rsaSig2;
    const auto certificate = rowNamed("certificates.json", "certificates", "leaf");
    ASSERT_EQ(certificate.at("kid"), attackersKey);
    const auto jwk = JSONSerialization::jsonObject(asBytes(keyText(attackersKey, "jwk_public")));
    const JSONValue x5c = JSONValue::List::of(certificate.at("x5c").get<std::string>());
    const auto thumbprint = certificate.at("x5t#S256").get<std::string>();
    const JsonWebKeySet attackers{{privateKey(attackersKey), JWK_SIG, sigA}};
    const JOSE::SignatureAlgorithm algorithm = JOSE::SignatureAlgorithm::RS256;
    const auto rejected =
        JOSEError::JWSVerificationError(wrapped(JOSESwiftError::verifyingFailed("The signature does not verify.")));
    for (const JSONValue::Object& headers : {JSONValue::Object{{"jwk", jwk}},
                                             {{"x5c", x5c}},
                                             {{"x5c", x5c}, {"x5t#S256", thumbprint}},
                                             {{"jku", "https://localhost/keys"}},
                                             {{"x5u", "https://localhost/chain"}},
                                             {{"jwk", jwk}, {"x5c", x5c}, {"x5t#S256", thumbprint}}}) {
        SCOPED_TRACE(JSONValue(headers));
        const auto jws = JWSSigner(algorithm, privateKey(attackersKey), sigA).signJWT("m", headers);
        EXPECT_EQ(JWSVerifier(algorithm, publicKey(attackersKey)).verifyJWS(jws), bytesOf("m"));
        EXPECT_ERROR(JWSVerifier(algorithm, publicJwk(sigA, JWK_SIG)).verifyJWS(jws), rejected);

        JOSEHelper::Builder builder;
        builder.setSenderJwkSet(attackers).setRecipientJwkSet(publicSet(sigB, encB), encB);
        const auto token = builder.addJwsHeaders(headers).addJweHeaders(headers).create().encodeMessage("m");
        auto receiver = partyB();
        EXPECT_ERROR(receiver.helper().decodeMessage(token), rejected);
        receiver.theirs = {{publicKey(attackersKey), JWK_SIG, sigA}};
        EXPECT_EQ(receiver.helper().decodeMessage(token), bytesOf("m")) << "apart from its key the token is valid";
    }
}

TEST(JOSEHelper, IsUnchangedByItsBuilder) {
    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(privateSet(sigA, encA), sigA).setRecipientJwkSet(publicSet(sigB, encB), encB);
    const auto helper = builder.create();
    builder.addJweHeaders({{"later", "1"}}).setJWSAlgorithm("XYZ");
    EXPECT_EQ(headersOf(helper.encodeMessage("m")), headersOf(Party().helper().encodeMessage("m")));
    EXPECT_ERROR(builder.create().encodeMessage("m"),
                 JOSEError::algorithmNotSupported("Algorithm 'XYZ' is not supported for signing/verifying data."));
}

TEST(JOSEHelper, BuilderRequiresBothSets) {
    const auto noSender = JOSEError::missingKey("Must provide sender's jwkset to sign and decrypt JWTs.");
    const auto set = publicSet(sigB, encB);
    EXPECT_ERROR(JOSEHelper::Builder().create(), noSender);
    EXPECT_ERROR(JOSEHelper::Builder().setRecipientJwkSet(set).create(), noSender);
    EXPECT_ERROR(JOSEHelper::Builder().setSenderJwkSet(set).create(),
                 JOSEError::missingKey("Must provide recipient's jwkset to verify and encrypt JWTs."));
}

// A row of codec_failures.json, applied to a party that is set up to work.
Party changed(Party party, const nlohmann::json& row) {
    const std::map<std::string, std::string*> texts{{"signingKeyId", &*party.signingKeyId},
                                                    {"encryptionKeyId", &*party.encryptionKeyId},
                                                    {"jws", &party.jws},
                                                    {"keyManagement", &party.keyManagement},
                                                    {"contentEncryption", &party.contentEncryption}};
    const auto settings = row.value("set", nlohmann::json::object());
    for (const auto& [name, value] : settings.items()) *texts.at(name) = value;
    const auto headers = row.value("headers", json::object());
    party.jwsHeaders = headers.value("jws", StringMap());
    party.jweHeaders = headers.value("jwe", StringMap());
    for (const auto& [name, set] : {std::pair{"ours", &party.ours}, std::pair{"theirs", &party.theirs}}) {
        if (!row.contains(name)) continue;
        set->jwks.clear();
        for (const auto& words : row[name]) set->jwks.push_back(keyInWords(words));
    }
    return party;
}

TEST(JOSEHelper, ReportsEncodingFaultsInOrder) {
    forEachRow("codec_failures.json", "encode", 16, [](const json& row) {
        EXPECT_ERROR_TEXT(changed(Party(), row).helper().encodeMessage(asBytes("m")), row["error"]);
    });
}

// A key that counts how often its store is asked to sign, and can throw instead of signing.
struct CountedKey final : StoreKey {
    explicit CountedKey(bool doesSign) : signs(doesSign) {}

    PublicComponents publicComponents() const override { return privateKey(sigA).publicComponents(); }
    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        ++asked;
        return signs ? privateKey(sigA).sign(scheme, hash, digest) : StoreKey::sign(scheme, hash, digest);
    }

    bool signs;
    mutable int asked = 0;
};

TEST(JOSEHelper, SignsOnceBeforeEncrypting) {
    const auto storeFailure =
        JOSEError::JWSSignerError(wrapped(SecurityError("This key store does not sign with this key.")));
    forEachRow("codec_failures.json", "afterSigning", 5, [&](const json& row) {
        for (const bool signs : {true, false}) {
            const auto key = std::make_shared<CountedKey>(signs);
            Party a = changed(Party(), row);
            a.ours = {{Zennet::PrivateKey(SecKey(key), KeyType::RSA2048Key), JWK_SIG, sigA}};
            EXPECT_ERROR_TEXT(a.helper().encodeMessage("m"),
                              signs ? row.value("error", "nothing was thrown") : storeFailure.debugDescription());
            EXPECT_EQ(key->asked, 1);
        }
    });
}

TEST(NestedMessage, IsSignedOnceWhenEncryptionFails) {
    const auto key = std::make_shared<CountedKey>(true);
    const JWSSigner signer("RS256", SecKey(key), sigA);
    const PreparedEncrypter encrypter("ECDH-ES", "A128GCM", publicKey(ecEncP256), std::nullopt);
    EXPECT_ERROR(
        encodeNestedMessage(asBytes("m"), signer, {}, encrypter, {{"apu", "a="}}),
        JOSEError::JWEEncrypterError(wrapped(JOSESwiftError::parsingFailed("The header's \"apu\" is not base64url."))));
    EXPECT_EQ(key->asked, 1);
    key->signs = false;
    EXPECT_ERROR(encodeNestedMessage(asBytes("m"), signer, {}, encrypter, {{"apu", "a="}}),
                 JOSEError::JWSSignerError(wrapped(SecurityError("This key store does not sign with this key."))));
    EXPECT_EQ(key->asked, 2);
}

TEST(NestedMessage, LosesNothingBetweenChunks) {
    const JWSSigner signer("RS256", privateKey(sigA), sigA);
    for (const auto* encryption : {"A128CBC-HS256", "A256GCM"}) {
        const PreparedEncrypter encrypter("RSA-OAEP-256", encryption, publicKey(encB), std::nullopt);
        const JWEDecrypter decrypter("RSA-OAEP-256", encryption, privateKey(encB));
        for (const std::size_t size : {0U, 1U, 2U, 3U, 6143U, 6144U, 6145U, 8191U, 12288U, 18433U, 100000U}) {
            SCOPED_TRACE(encryption + std::to_string(size));
            ByteBuffer message(size);
            for (std::size_t i = 0; i < size; ++i) message[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
            const auto token = encodeNestedMessage(message, signer, {{"x", "y"}}, encrypter, {});
            EXPECT_EQ(decrypter.decryptJWE(token), signer.signJWT(message, {{"x", "y"}}));
            EXPECT_EQ(token.capacity(), token.size()) << "the reserved size is the exact one";
        }
    }
}

TEST(JOSEHelper, AcceptsTextAsBytes) {
    const auto a = Party().helper(), b = partyB().helper();
    const std::string text("m\0\xff", 3), token = a.encodeMessageToString(text);
    EXPECT_EQ(b.decodeMessage(token), bytesOf(text));
    EXPECT_EQ(b.decodeMessage(std::string_view(token)), bytesOf(text));
    EXPECT_EQ(b.decodeMessageToString(token), text);
    EXPECT_EQ(b.decodeMessageToString(asBytes(token)), text);
    EXPECT_EQ(b.decodeMessageToString(a.encodeMessage("m")), "m");
    EXPECT_EQ(b.decodeMessageToString(a.encodeMessageToString(asBytes("m"))), "m");
    EXPECT_EQ(b.decodeMessageToString(a.encodeMessageToString("")), "");
}

TEST(MovedFrom, HelpersWorkAsBefore) {
    auto a = Party().helper(), b = partyB().helper();
    EXPECT_EQ(movedFrom(b).decodeMessage(movedFrom(a).encodeMessage("m")), bytesOf("m"));
}

// The token of a row of hostile_messages.json: honestly encrypted for B but for what the row says.
ByteBuffer hostileToken(const json& row) {
    static const auto good = Party().helper().encodeMessage(asBytes("secret"));
    static const auto signerA = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(sigA)).value();
    static const auto signerB = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(sigB)).value();
    static const auto headerOf = [](const std::string& kid) { return R"({"alg":"RS256","kid":")" + kid + R"("})"; };
    static const auto jws = signedToken(headerOf(sigA), "secret", signerA);
    const auto text = [](const ByteBuffer& token) { return std::string(asText(token)); };
    const auto fields = parts(good);
    const std::vector<std::pair<std::string, std::string>> words{
        {"<header>", fields[0]},
        {"<key>", fields[1]},
        {"<iv>", fields[2]},
        {"<ciphertext>", fields[3]},
        {"<tag>", fields[4]},
        {"<good>", text(good)},
        {"<off>", text(withFlippedBit(good, 3))},
        {"<rest>", text(good).substr(text(good).find('.') + 1)},
        {"<bytes>", "\xff."},
        {"<jws>", text(jws)},
        {"<jws off>", text(withFlippedBit(jws, 1))},
        {"<jws of good>", text(signedToken(headerOf(sigA), asText(good), signerA))},
        {"<foreign>", text(signedToken(headerOf(sigA), "secret", signerB))},
        {"<own>", text(signedToken(headerOf(sigB), "secret", signerB))}};
    const auto inner = row.contains("signed") ? signedToken(filledIn(row["signed"]), "secret", signerA)
                                              : bytesOf(filledIn(row.value("inner", "<jws>"), words));
    if (row.contains("outer")) return bytesOf(filledIn(row["outer"], words));
    if (!row.contains("header")) return JWEEncrypter(publicJwk(encB, JWK_ENC)).encryptJWT(inner, std::nullopt, true);
    return ForgedJWE(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256, filledIn(row["header"]), publicKey(encB),
                     HashFunction::SHA256, asText(inner))
        .token();
}

TEST(JOSEHelper, RejectsHostileMessages) {
    forEachHostileRow("hostile_messages.json", "messages", 76, [&](const json& row) {
        EXPECT_EQ(changed(partyB(), row).helper().decodeMessage(hostileToken(row)), bytesOf("secret"));
    });
}

TEST(JOSEHelper, TriesEveryVerificationKey) {
    const auto token = Party().helper().encodeMessage(asBytes("m"));
    const auto named = [](const SecKey& key, KeyType type = KeyType::RSA2048Key) {
        return JsonWebKey(Zennet::PublicKey(key, type), JWK_SIG, sigA);
    };
    Party b = partyB();
    b.theirs = {named(publicKey(sigB)), named(publicKey(sigA))};
    EXPECT_EQ(b.helper().decodeMessage(token), ByteBuffer{'m'});

    b.theirs = {named(publicKey(sigB)), named(keyInWords("public rsa1024 sig").platformKey())};
    EXPECT_ERROR(b.helper().decodeMessage(token),
                 JOSEError::JWSVerificationError(wrapped(JOSEError::invalidKeyFormat(
                     "An error occurred while initializing verifier for JWS. Make sure the key you are using is "
                     "following the requirements for the signing algorithm RS256."))));
}

}  // namespace
