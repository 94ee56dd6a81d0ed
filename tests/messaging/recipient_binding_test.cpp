#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

const ClaimsPolicy forBob = ClaimsPolicy().requireIssuer("alice").requireAudience("bob").allowNoExpiry();

// Alice signs, and encrypts to Mallory; Mallory, who can decrypt that, encrypts the JWS anew to Bob.
JsonWebKeySet decryptionSet(const std::string& kid) {
    return {privateJwk(kid, JWK_ENC)};
}

const std::string alice = rsaSig, bob = rsaEnc, mallory = rsaEnc2;

JOSEHelper::Builder& parties(JOSEHelper::Builder& builder, const JsonWebKeySet& ours, const JsonWebKeySet& theirs) {
    return builder.setSenderJwkSet(ours).setRecipientJwkSet(theirs);
}

ByteBuffer forwarded(ByteView token) {
    const auto jws = JWEDecrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey(mallory)).decryptJWE(token);
    return JWEEncrypter("RSA-OAEP-256", "A128CBC-HS256", publicKey(bob), bob).encryptJWT(jws, {}, true);
}

struct Sender {
    JOSEHelper::Builder builder;

    ByteBuffer encode(std::string_view message, const std::string& recipient) {
        return parties(builder, {privateJwk(alice, JWK_SIG)}, {publicJwk(recipient, JWK_ENC)})
            .create()
            .encodeMessage(message);
    }
};

const NestedTokenProfile rsaProfile{
    {JOSE::SignatureAlgorithm::RS256},
    {{JOSE::KeyManagementAlgorithm::RSA_OAEP_256}, {JOSE::ContentEncryptionAlgorithm::A128CBC_HS256}}};

NestedToken tokensOfBob() {
    return {decryptionSet(bob), {publicJwk(alice, JWK_SIG)}, rsaProfile};
}

TEST(RecipientBinding, RejectsAMessageThatWasForwarded) {
    const std::string toBob = R"({"aud":"bob"})", toMallory = R"( {"aud":["x","mallory"]})", plain = "pay 10";
    Sender unbound, bound;
    bound.builder.bindRecipient();
    const auto* const wrongKey =
        R"(ClaimsError.wrongAudience(claim: "recipient_jkt", expected: "the thumbprint of our key"))";
    const auto* const wrongName = R"(ClaimsError.wrongAudience(claim: "aud", expected: "one of our names"))";
    const auto* const nothing = R"(ClaimsError.missingClaim(claim: "recipient_jkt", expected: "there"))";
    const auto* const ok = "nothing was thrown";
    const struct {
        const char* name;
        ByteBuffer token;
        const char *byKey, *byName;
    } rows[] = {
        {"bound to us", bound.encode(plain, bob), ok, ok},
        {"bound to another", forwarded(bound.encode(plain, mallory)), wrongKey, wrongKey},
        {"not bound", unbound.encode(plain, bob), nothing, nothing},
        {"claims for us", unbound.encode(toBob, bob), nothing, ok},
        {"claims for another", forwarded(unbound.encode(toMallory, mallory)), nothing, wrongName},
        {"bound claims for another", forwarded(bound.encode(toMallory, mallory)), wrongKey, wrongKey},
        {"bound to us, claims for another", bound.encode(toMallory, bob), ok, wrongName},
        {"bound to another, claims for us", forwarded(bound.encode(toBob, mallory)), wrongKey, wrongKey},
        {"audience of another type", unbound.encode(R"({"aud":[7,{}]})", bob), nothing, wrongName},
        {"claims for several, and for us", unbound.encode(R"({"aud":["x","bob"]})", bob), nothing, ok},
        {"audience of several types", unbound.encode(R"({"aud":["bob",7]})", bob), nothing, wrongName},
        {"no audience", unbound.encode(R"({"iss":"alice"})", bob), nothing, nothing},
        {"not quite JSON", unbound.encode(R"({"aud":"bob")", bob), nothing, nothing},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (const bool byName : {false, true}) {
            const auto names = byName ? std::vector<std::string>{"robert", "bob"} : std::vector<std::string>();
            JOSEHelper::Builder builder;
            parties(builder.bindRecipient(names), decryptionSet(bob), {publicJwk(alice, JWK_SIG)});
            EXPECT_ERROR_TEXT(builder.create().decodeMessage(row.token), byName ? row.byName : row.byKey);
            EXPECT_ERROR_TEXT(tokensOfBob().bindRecipient(names).decode(row.token), byName ? row.byName : row.byKey);
        }
        EXPECT_ERROR_TEXT(tokensOfBob().decode(row.token), ok);
    }
}

TEST(RecipientBinding, IsCheckedBeforeThePolicyRemembersTheToken) {
    Sender bound;
    bound.builder.bindRecipient();
    int seen = 0;
    const auto policy =
        ClaimsPolicy(forBob).allowAnyAudience().setReplayCheck([&seen](const auto&, auto) { return ++seen == 1; });
    const auto tokens = tokensOfBob().bindRecipient().setClaimsPolicy(policy);
    const std::string claims = R"({"iss":"alice","jti":"1"})";
    EXPECT_ERROR_TEXT(tokens.decode(forwarded(bound.encode(claims, mallory))),
                      R"(ClaimsError.wrongAudience(claim: "recipient_jkt", expected: "the thumbprint of our key"))");
    EXPECT_EQ(seen, 0);
    EXPECT_ERROR_TEXT(tokens.decode(bound.encode(claims, bob)), "nothing was thrown");
    EXPECT_ERROR_TEXT(tokens.decode(bound.encode(claims, bob)),
                      R"(ClaimsError.replayed(claim: "jti", expected: "new"))");
}

TEST(RecipientBinding, LeavesTheTokenAsItIsUnlessSwitchedOn) {
    Sender unbound, bound;
    bound.builder.bindRecipient();
    const auto headerOf = [](ByteView token) {
        return headerText(JWEDecrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey(bob)).decryptJWE(token));
    };
    EXPECT_EQ(headerOf(unbound.encode("m", bob)), R"({"alg":"RS256","kid":"d-sig-rs256"})");
    const auto thumbprint = publicJwk(bob, JWK_ENC).thumbprint();
    const auto header = R"({"alg":"RS256","kid":"d-sig-rs256","recipient_jkt":")" + thumbprint + "\"}";
    EXPECT_EQ(headerOf(bound.encode("m", bob)), header);
    bound.builder.addJwsHeaders({{"recipient_jkt", "another"}, {"typ", "JWT"}, {"level", 2}});
    EXPECT_EQ(headerOf(bound.encode("m", bob)),
              R"({"alg":"RS256","kid":"d-sig-rs256","level":2,"recipient_jkt":")" + thumbprint + R"(","typ":"JWT"})");
    const NestedToken tokens({privateJwk(alice, JWK_SIG)}, {publicJwk(bob, JWK_ENC)}, rsaProfile);
    EXPECT_EQ(headerOf(NestedToken(tokens).bindRecipient().encode("m")), header);
}

TEST(ClaimsPolicyOfMessages, IsAppliedAfterTheSignatureAndItsErrorIsNotWrapped) {
    Sender sender;
    const struct {
        ByteBuffer token;
        std::string error;
    } rows[] = {
        {sender.encode(R"({"iss":"alice","aud":"bob"})", bob), "nothing was thrown"},
        {sender.encode(R"({"iss":"eve","aud":"bob"})", bob),
         R"(ClaimsError.wrongIssuer(claim: "iss", expected: "\"alice\""))"},
        {sender.encode("hello", bob), R"(ClaimsError.malformed(claim: "", expected: "a JSON object"))"},
    };
    JOSEHelper::Builder builder;
    const auto helper =
        parties(builder.setClaimsPolicy(forBob), decryptionSet(bob), {publicJwk(alice, JWK_SIG)}).create();
    for (const auto& row : rows) {
        EXPECT_ERROR_TEXT(helper.decodeMessage(row.token), row.error);
        EXPECT_ERROR_TEXT(helper.decode(row.token), row.error);
        EXPECT_ERROR_TEXT(tokensOfBob().setClaimsPolicy(forBob).decode(row.token), row.error);
    }
    EXPECT_EQ(helper.decode(rows[0].token).claims->getIssuer(), "alice");
    EXPECT_FALSE(tokensOfBob().decode(rows[0].token).claims);
    JOSEHelper::Builder ofAnother;
    const auto stranger =
        parties(ofAnother.setClaimsPolicy(forBob), decryptionSet(bob), {publicJwk(rsaSig2, JWK_SIG)}).create();
    EXPECT_ERROR(stranger.decodeMessage(rows[1].token),
                 JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures."));
}

}  // namespace
