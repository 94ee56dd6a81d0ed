#include "torvane/messaging/jose_helper.hpp"

#include <map>

#include "tests/testing/forge.hpp"
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

TEST(JOSEHelper, WritesBothHeadersFromItsConfiguration) {
    const auto opened = [](const ByteBuffer& token) {
        return JWEDecrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey(encB)).decryptJWE(token);
    };
    const auto plain = Party().helper().encodeMessage(asBytes("m"));
    EXPECT_EQ(headerText(plain), R"({"alg":"RSA-OAEP-256","cty":"JWT","enc":"A128CBC-HS256","kid":"d-enc-oaep"})");
    EXPECT_EQ(headerText(opened(plain)), R"({"alg":"RS256","kid":"d-sig-rs256"})");

    JOSEHelper::Builder builder;
    builder.setSenderJwkSet(privateSet(sigA, encA), "gone").setSenderJwkSet(privateSet(sigA, encA));
    builder.setRecipientJwkSet(publicSet(sigB, encB), "gone").setRecipientJwkSet(publicSet(sigB, encB));
    builder.addJwsHeaders({{"a", "1"}}).addJwsHeaders({{"typ", "JWT"}, {"alg", "none"}});
    builder.addJweHeaders({{"b", "1"}}).addJweHeaders({{"x", "y"}, {"cty", "text"}});
    const auto helper = builder.create();
    builder.addJweHeaders({{"later", "1"}}).setJWSAlgorithm("XYZ");
    const auto token = helper.encodeMessage(asBytes("m"));
    EXPECT_EQ(headerText(token), R"({"alg":"RSA-OAEP-256","cty":"JWT","enc":"A128CBC-HS256","x":"y"})");
    EXPECT_EQ(headerText(opened(token)), R"({"alg":"RS256","kid":"d-sig-rs256","typ":"JWT"})");
    EXPECT_EQ(partyB().helper().decodeMessage(token), ByteBuffer{'m'}) << "without an outer kid";
    EXPECT_ERROR(builder.create().encodeMessage({}),
                 JOSEError::algorithmNotSupported("Algorithm 'XYZ' is not supported for signing/verifying data."));
}

TEST(JOSEHelper, TheBuilderNeedsBothSetsTheSendersFirst) {
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

TEST(JOSEHelper, EncodingFailsInTheOrderOfItsSteps) {
    forEachRow("codec_failures.json", "encode", 16, [](const json& row) {
        EXPECT_REFUSED(changed(Party(), row).helper().encodeMessage(asBytes("m")), row["error"]);
    });
}

// A key that counts how often its store is asked to sign, and may refuse.
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

TEST(JOSEHelper, AsksTheStoreForOneSignatureWhichFailsBeforeTheEncryption) {
    const auto refused =
        JOSEError::JWSSignerError(wrapped(SecurityError("This key store does not sign with this key.")));
    const auto zipped =
        JOSESwiftError::parsingFailed("The header's \"zip\" asks for compression, which is not supported.");
    for (const bool signs : {true, false}) {
        for (const std::string fault : {"", "XYZ", "zip"}) {
            SCOPED_TRACE(fault);
            const auto key = std::make_shared<CountedKey>(signs);
            Party a;
            a.ours = {{Zennet::PrivateKey(SecKey(key), KeyType::RSA2048Key), JWK_SIG, sigA}};
            if (fault == "XYZ") a.keyManagement = fault;
            if (fault == "zip") a.jweHeaders = {{"zip", "DEF"}};
            const auto encode = [helper = a.helper()] { return helper.encodeMessage(asBytes("m")); };
            if (!signs) {
                EXPECT_ERROR(encode(), refused);
            } else if (fault == "zip") {
                EXPECT_ERROR(encode(), zipped);
            } else if (fault == "XYZ") {
                EXPECT_ERROR(encode(),
                             JOSEError::algorithmNotSupported("XYZ algorithm is not supported for key management."));
            } else {
                EXPECT_EQ(partyB().helper().decodeMessage(encode()), ByteBuffer{'m'});
            }
            EXPECT_EQ(key->asked, 1);
        }
    }
}

// The token of a row of hostile_messages.json: honestly encrypted for B but for what the row says.
ByteBuffer hostileToken(const json& row) {
    static const auto good = Party().helper().encodeMessage(asBytes("secret"));
    static const auto signerA = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(sigA)).value();
    static const auto signerB = JOSE::Signer::create(JOSE::SignatureAlgorithm::RS256, privateKey(sigB)).value();
    static const auto headerOf = [](const std::string& kid) { return R"({"alg":"RS256","kid":")" + kid + R"("})"; };
    static const auto jws = signedToken(headerOf(sigA), "secret", signerA);
    const auto text = [](const ByteBuffer& token) { return std::string(asText(token)); };
    const auto pieces = parts(good);
    const std::vector<std::pair<std::string, std::string>> words{
        {"<header>", pieces[0]},
        {"<key>", pieces[1]},
        {"<iv>", pieces[2]},
        {"<ciphertext>", pieces[3]},
        {"<tag>", pieces[4]},
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

TEST(JOSEHelper, NoMessageIsDecodedThatIsOffInOneThing) {
    forEachHostileRow("hostile_messages.json", "messages", 76, [&](const json& row) {
        EXPECT_EQ(changed(partyB(), row).helper().decodeMessage(hostileToken(row)), bytesOf("secret"));
    });
}

TEST(JOSEHelper, TriesEveryVerificationKeyAndReportsTheLastFailure) {
    const auto token = Party().helper().encodeMessage(asBytes("m"));
    const auto named = [](const SecKey& key, KeyType type = KeyType::RSA2048Key) {
        return JsonWebKey(Zennet::PublicKey(key, type), JWK_SIG, sigA);
    };
    Party b = partyB();
    b.theirs = {named(publicKey(sigB)), named(publicKey(sigA))};
    EXPECT_EQ(b.helper().decodeMessage(token), ByteBuffer{'m'});

    b.theirs = {named(publicKey(sigB)), named(SoftwareKeyStore::generateRSA(1024).publicKey())};
    EXPECT_ERROR(b.helper().decodeMessage(token),
                 JOSEError::JWSVerificationError(wrapped(JOSEError::invalidKeyFormat(
                     "An error occurred while initializing verifier for JWS. Make sure the key you are using is "
                     "following the requirements for the signing algorithm RS256."))));
}

}  // namespace
