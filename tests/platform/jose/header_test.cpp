// Headers of JWS and JWE: how their parameters may be given, and which are rejected.
#include "torvane/platform/jose/header.hpp"

#include <cmath>
#include <filesystem>

#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;
using enum JOSE::ContentEncryptionAlgorithm;
using JOSE::HeaderParameters;
using JOSE::JWEHeader;
using JOSE::JWSHeader;

const auto noAlgorithm = JOSESwiftError::parsingFailed("The header's \"alg\" is missing or not a string.");

TEST(JWSHeader, AcceptsEveryFormOfParameters) {
    const std::string none = R"({"alg":"RS256"})", one = R"({"alg":"RS256","typ":"JWT"})",
                      two = R"({"alg":"RS256","cty":"x","typ":"JWT"})",
                      numbers = R"({"alg":"RS256","kid":"k","n":0,"t":"JWT","x":null})";
    const StringMap map{{"typ", "JWT"}};
    const std::optional<StringMap> some = map, absent;
    const auto id = std::nullopt;
    const std::vector<std::pair<JWSHeader, std::string>> cases{
        {{RS256, {}, id}, none},
        {{RS256, std::nullopt, id}, none},
        {{RS256, absent, id}, none},
        {{RS256, some, id}, one},
        {{RS256, map, id}, one},
        {{RS256, {{"typ", "JWT"}}, id}, one},
        {{RS256, {{"typ", "JWT"}, {"cty", "x"}}, id}, two},
        {{RS256, {{"typ", "JWT"}, {"cty", "x"}, {"typ", "second"}}, id}, two},
        {{RS256, {{"typ", {}}}, id}, R"({"alg":"RS256","typ":""})"},
        {{RS256, {{"typ", {"JWT"}}}, id}, one},
        {{RS256, {{"typ", std::filesystem::path("JWT")}}, id}, one},
        {{RS256, HeaderParameters{std::pair<std::string, std::string>("typ", "JWT")}, id}, one},
        {{RS256, JSONValue::Object{{"typ", "JWT"}, {"cty", "x"}}, id}, two},
        {{RS256, {{"n", 0}, {"n", "1"}, {"t", "JWT"}, {"t", 1}, {"x", nullptr}}, "k"}, numbers},
        {{RS256, {{"typ", "JWT"}, {"x5c", JSONValue::List::of("MII")}}, id},
         R"({"alg":"RS256","typ":"JWT","x5c":["MII"]})"},
        {{RS256, {{"x", JSONValue::Object{{"a", 1.5}}}, {"alg", 1}, {"b64", true}, {"cty", "x"}}, id},
         R"({"alg":"RS256","b64":true,"cty":"x","x":{"a":1.5}})"},
    };
    for (const auto& [header, text] : cases) EXPECT_EQ(asText(header.jsonData()), text);
}

TEST(JWEHeader, AcceptsParametersInBraces) {
    const JWEHeader one(RSA_OAEP, A128GCM, {{"typ", "JWT"}}, std::nullopt);
    const JWEHeader two(RSA_OAEP, A128GCM, {{"typ", "JWT"}, {"cty", "x"}}, std::nullopt);
    EXPECT_EQ(asText(one.jsonData()), R"({"alg":"RSA-OAEP","enc":"A128GCM","typ":"JWT"})");
    EXPECT_EQ(asText(two.jsonData()), R"({"alg":"RSA-OAEP","cty":"x","enc":"A128GCM","typ":"JWT"})");
}

TEST(HeaderParameters, TellsTextsFromOtherValues) {
    const HeaderParameters mixed{{"typ", "JWT"}, {"n", 1}}, text{{"typ", "JWT"}};
    EXPECT_EQ(mixed.members(), text.members());
    EXPECT_EQ(mixed.otherMembers(), (JSONValue::Object{{"n", 1}}));
    EXPECT_TRUE(text.otherMembers().empty());
}

// Each of them could be given only as text before there were other values.
TEST(JWSHeader, RejectsValuesOfAnotherKind) {
    const auto rejected = JOSESwiftError::parsingFailed;
    for (const std::string name : {"kid", "typ", "cty", "jku", "x5u", "x5t", "x5t#S256"}) {
        EXPECT_ERROR(JWSHeader(RS256, {{name, 1}}, std::nullopt),
                     rejected("The header's \"" + name + "\" is missing or not a string."));
    }
    for (const auto& value : {JSONValue::opaque(JWKUse::JWK_SIG), JSONValue(std::nan("")), JSONValue("\xff"),
                              JSONValue(JSONValue::List::of(JSONValue::opaque(JWKUse::JWK_SIG)))}) {
        EXPECT_ERROR(JWSHeader(RS256, {{"x", value}}, std::nullopt),
                     rejected("The header holds a value that is not JSON."));
    }
    EXPECT_ERROR(JWSHeader(RS256, {{"b64", false}}, std::nullopt),
                 rejected("The header's \"b64\" asks for an unencoded payload, which is not supported."));
    EXPECT_ERROR(JWSHeader(RS256, {{"crit", JSONValue::List()}}, std::nullopt),
                 rejected("The header's \"crit\" names extensions, and none is supported."));
}

TEST(Header, NoTokenPublishesAPrivateJwk) {
    const auto signer = JOSE::Signer::create(RS256, privateKey(rsaSig)).value();
    const auto encrypter = JOSE::Encrypter::create(RSA_OAEP, A128GCM, publicKey(rsaEnc)).value();
    const auto makeTokens = [&](const JSONValue& jwk) {
        const JOSE::JWS jws(JWSHeader(RS256, {{"jwk", jwk}}, std::nullopt), {}, signer);
        const JOSE::JWE jwe(JWEHeader(RSA_OAEP, A128GCM, {{"jwk", jwk}}, std::nullopt), {}, encrypter);
        return std::pair(headerText(jws.compactSerializedData()), headerText(jwe.compactSerializedData()));
    };
    const auto published = JSONSerialization::jsonObject(asBytes(keyText(ecP256, "jwk_public")));
    const auto [inJws, inJwe] = makeTokens(published);
    EXPECT_EQ(json::parse(inJws).at("jwk"), json::parse(keyText(ecP256, "jwk_public")));
    EXPECT_EQ(json::parse(inJwe).at("jwk"), json::parse(keyText(ecP256, "jwk_public")));
    makeTokens("d");  // a text, which is accepted as before, is no JWK

    const auto isPrivate = JOSESwiftError::parsingFailed("The header's \"jwk\" holds a private key.");
    for (const auto* name : {"d", "p", "q", "dp", "dq", "qi", "oth", "k", "priv"}) {
        auto members = *published.as<JSONValue::Object>();
        members[name] = "AQ";
        EXPECT_ERROR(JOSE::JWS(JWSHeader(RS256, {{"jwk", members}}, std::nullopt), {}, signer), isPrivate) << name;
        EXPECT_ERROR(JOSE::JWE(JWEHeader(RSA_OAEP, A128GCM, {{"jwk", members}}, std::nullopt), {}, encrypter),
                     isPrivate)
            << name;
    }
}

// What a peer publishes is the peer's affair, and tokens that were accepted stay accepted.
TEST(Header, APrivateJwkOfThePeerIsRead) {
    const auto signer = JOSE::Signer::create(RS256, privateKey(rsaSig)).value();
    const auto header = R"({"alg":"RS256","jwk":)" + keyText(ecP256, "jwk_private") + "}";
    JOSE::ReceivedJWS jws(signedToken(header, "m", signer));
    EXPECT_EQ(jws.validate(JOSE::Verifier::create(RS256, publicKey(rsaSig)).value()).data(), bytesOf("m"));
    EXPECT_ERROR(JOSE::JWS(jws.header(), {}, signer),
                 JOSESwiftError::parsingFailed("The header's \"jwk\" holds a private key."));
}

TEST(JWEHeader, PartyInfoReachesTheRecipient) {
    JWEHeader header(ECDH_ES, A128GCM, {}, std::nullopt);
    EXPECT_EQ(header.agreementPartyUInfo(), std::nullopt);
    EXPECT_EQ(header.agreementPartyVInfo(), std::nullopt);
    header.setAgreementPartyUInfo(asBytes("Alice"));
    header.setAgreementPartyVInfo({});
    const auto encrypter = JOSE::Encrypter::create(ECDH_ES, A128GCM, publicKey(ecEncP256)).value();
    JOSE::ReceivedJWE jwe(JOSE::JWE(header, asBytes("m"), encrypter).compactSerializedData());
    const auto members = jwe.header().parameters();
    EXPECT_EQ(members.at("apu"), JSONValue("QWxpY2U")) << "as in RFC 7518, appendix C";
    EXPECT_EQ(members.at("apv"), JSONValue(""));
    EXPECT_EQ(jwe.header().agreementPartyUInfo(), bytesOf("Alice"));
    EXPECT_EQ(jwe.header().agreementPartyVInfo(), ByteBuffer());
    const auto decrypter = JOSE::Decrypter::create(ECDH_ES, A128GCM, privateKey(ecEncP256)).value();
    EXPECT_EQ(std::move(jwe).decrypt(decrypter).data(), bytesOf("m"));
}

TEST(JWEHeader, RejectsPartyInfoThatIsNotBase64url) {
    const auto malformed = [](const std::string& name) {
        return JOSESwiftError::parsingFailed("The header's \"" + name + "\" is not base64url.");
    };
    for (const auto& value : {JSONValue("a="), JSONValue("QWxpY2V="), JSONValue("+A"), JSONValue("A"), JSONValue(1),
                              JSONValue(), JSONValue(JSONValue::List())}) {
        const JWEHeader header(ECDH_ES, A128GCM, {{"apu", value}, {"apv", value}}, std::nullopt);
        EXPECT_ERROR(header.agreementPartyUInfo(), malformed("apu"));
        EXPECT_ERROR(header.agreementPartyVInfo(), malformed("apv"));
    }
}

TEST(MovedFrom, JWSHeaderIsRejected) {
    const auto signer = JOSE::Signer::create(RS256, privateKey(rsaSig)).value();
    JWSHeader header(RS256, {}, "k");
    EXPECT_ERROR(movedFrom(header).algorithm(), noAlgorithm);
    EXPECT_ERROR(JOSE::JWS(header, {}, signer), noAlgorithm);
}

TEST(MovedFrom, JWEHeaderIsRejected) {
    const auto encrypter = JOSE::Encrypter::create(RSA_OAEP, A128GCM, publicKey(rsaEnc)).value();
    JWEHeader header(RSA_OAEP, A128GCM, {}, "k");
    EXPECT_ERROR(movedFrom(header).encryptionAlgorithm(),
                 JOSESwiftError::parsingFailed("The header's \"enc\" is missing or not a string."));
    EXPECT_ERROR(JOSE::JWE(header, {}, encrypter), noAlgorithm);
}

}  // namespace
