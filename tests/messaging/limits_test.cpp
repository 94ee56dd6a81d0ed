#include "torvane/platform/core/limits.hpp"

#include <functional>

#include "torvane/platform/encodings/json_serialization.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

// One limit, the lowest value that the reader accepts, and the error when it is lower by one.
struct Row {
    const char* name;
    std::size_t Limits::*limit;
    std::size_t lowest;
    std::function<void(const Limits&)> read;
    std::string error;
};

void expectExactLimits(std::initializer_list<Row> rows) {
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Limits limits;
        limits.*row.limit = row.lowest;
        EXPECT_NO_THROW(row.read(limits));
        limits.*row.limit = row.lowest - 1;
        EXPECT_EQ(textualForm(THROWN_BY(row.read(limits))), row.error);
    }
}

JOSESwiftError tooLong(const char* what, std::size_t limit) {
    return JOSESwiftError::parsingFailed("The " + std::string(what) + " is longer than " + std::to_string(limit) +
                                         " bytes.");
}

const std::string tooManyMembers = "The text is not JSON: lists and objects have too many members.";
const std::string tooDeep = "The text is not JSON: lists and objects nest too deep.";

JOSESwiftError unreadable(const char* what, const std::string& why) {
    return JOSESwiftError::parsingFailed("The " + std::string(what) + " cannot be read. " + why);
}

std::string inDecrypter(const JOSESwiftError& error) {
    return JOSEError::JWEDecrypterError(wrapped(error)).debugDescription();
}

std::string inVerifier(const JOSESwiftError& error) {
    return JOSEError::JWSVerificationError(wrapped(error)).debugDescription();
}

// A party that writes to itself.
JOSEHelper makeHelper(const Limits& limits, const JOSE::HeaderParameters& jwsHeaders = {}) {
    const JsonWebKey otherKeyOfThatId(publicKey(rsaSig2), JWK_SIG, rsaSig);
    return JOSEHelper::Builder()
        .setSenderJwkSet({privateJwk(rsaSig, JWK_SIG), privateJwk(rsaEnc, JWK_ENC)})
        .setRecipientJwkSet({otherKeyOfThatId, publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)}, rsaEnc)
        .addJwsHeaders(jwsHeaders)
        .setLimits(limits)
        .create();
}

TEST(Limits, OfMessagesHoldForBothLayers) {
    const auto token = makeHelper({}).encodeMessage("m");
    const auto withLongJws = makeHelper({}, {{"a", std::string(200, 'a')}, {"b", ""}, {"c", ""}}).encodeMessage("m");
    const auto decode = [](const ByteBuffer& message) {
        return [&message](const Limits& limits) { static_cast<void>(makeHelper(limits).decodeMessage(message)); };
    };
    const auto outer = headerText(token).size(),
               inner = std::string(R"({"a":"","alg":"RS256","b":"","c":"","kid":""})").size() + 200 + rsaSig.size();
    expectExactLimits({
        {"token", &Limits::tokenBytes, token.size(), decode(token), inDecrypter(tooLong("token", token.size() - 1))},
        {"outer header", &Limits::headerBytes, outer, decode(token), inDecrypter(tooLong("header", outer - 1))},
        {"outer members", &Limits::jsonMembers, 4, decode(token), inDecrypter(unreadable("header", tooManyMembers))},
        {"outer depth", &Limits::jsonDepth, 1, decode(token), inDecrypter(unreadable("header", tooDeep))},
        {"inner header", &Limits::headerBytes, inner, decode(withLongJws), inVerifier(tooLong("header", inner - 1))},
        {"inner members", &Limits::jsonMembers, 5, decode(withLongJws),
         inVerifier(unreadable("header", tooManyMembers))},
        {"keys", &Limits::keysTried, 2, decode(token),
         inVerifier(JOSESwiftError::verifyingFailed("The signature does not verify."))},
    });
    EXPECT_ERROR(makeHelper({.keysTried = 0}).decodeMessage(token),
                 JOSEError::JWSVerificationError(wrapped(JOSESwiftError::verifyingFailed("Failed to verify JWT"))));
}

TEST(Limits, OfSingleTokensHold) {
    const auto jws = JWSSigner("RS256", privateJwk(rsaSig, JWK_SIG)).signJWT(asBytes("m"), {{"x", "y"}});
    const auto jwe = JWEEncrypter("RSA-OAEP-256", "A256GCM", publicKey(rsaEnc), rsaEnc).encryptJWT(asBytes("m"), {});
    const auto verify = [&](const Limits& limits) {
        static_cast<void>(JWSVerifier("RS256", publicKey(rsaSig)).verifyJWS(jws, limits));
    };
    const auto decrypt = [&](const Limits& limits) {
        static_cast<void>(JWEDecrypter("RSA-OAEP-256", "A256GCM", privateKey(rsaEnc)).decryptJWE(jwe, limits));
    };
    const auto showHeader = [&](const Limits& limits) {
        if (!JsonWebStructure::readHeader(jws, limits)) throw unreadable("header", "It is absent.");
    };
    const auto header = headerText(jws).size(), jweHeader = headerText(jwe).size();
    const auto absent = unreadable("header", "It is absent.").debugDescription();
    expectExactLimits({
        {"JWS", &Limits::tokenBytes, jws.size(), verify, inVerifier(tooLong("token", jws.size() - 1))},
        {"JWS header", &Limits::headerBytes, header, verify, inVerifier(tooLong("header", header - 1))},
        {"header alone", &Limits::headerBytes, header,
         [&](const Limits& limits) { static_cast<void>(JOSE::JWSHeader(asBytes(headerText(jws)), limits)); },
         tooLong("header", header - 1).debugDescription()},
        {"JWS members", &Limits::jsonMembers, 3, verify, inVerifier(unreadable("header", tooManyMembers))},
        {"JWE", &Limits::tokenBytes, jwe.size(), decrypt, inDecrypter(tooLong("token", jwe.size() - 1))},
        {"JWE header", &Limits::headerBytes, jweHeader, decrypt, inDecrypter(tooLong("header", jweHeader - 1))},
        {"JWE members", &Limits::jsonMembers, 3, decrypt, inDecrypter(unreadable("header", tooManyMembers))},
        {"shown header", &Limits::headerBytes, header, showHeader, absent},
        {"members of a shown header", &Limits::jsonMembers, 3, showHeader, absent},
    });
}

TEST(Limits, OfJSONTextCountItsMembersAndDepth) {
    const ByteBuffer text = bytesOf(R"([[1],{"a":{"b":[]}}])");
    const auto read = [&](const Limits& limits) { static_cast<void>(JSONSerialization::jsonObject(text, limits)); };
    const auto readSecret = [&](const Limits& limits) {
        static_cast<void>(JSONSerialization::secretJSONObject(text, limits));
    };
    const auto readClaims = [](const Limits& limits) {
        static_cast<void>(fromJsonString<JWTClaims>(R"({"aud":["a","b"]})", limits));
    };
    const auto failed = JsonSerializeError::failedToParseJson("Failed to parse response to JSON. " + tooManyMembers);
    expectExactLimits({
        {"depth", &Limits::jsonDepth, 4, read, JSONError(tooDeep).debugDescription()},
        {"members", &Limits::jsonMembers, 5, read, JSONError(tooManyMembers).debugDescription()},
        {"depth of secrets", &Limits::jsonDepth, 4, readSecret, JSONError(tooDeep).debugDescription()},
        {"members of secrets", &Limits::jsonMembers, 5, readSecret, JSONError(tooManyMembers).debugDescription()},
        {"claims", &Limits::jsonMembers, 3, readClaims, failed.debugDescription()},
    });
    Limits limits;
    limits.jsonDepth = Limits::unlimited;
    EXPECT_ERROR(JSONSerialization::jsonObject(std::string(513, '['), limits), JSONError(tooDeep));
}

TEST(Limits, OfKeysHoldForEveryReader) {
    const auto publicText = keyText(rsaSig, "jwk_public"), privateText = keyText(rsaSig, "jwk_private");
    const auto setText = "{\"keys\":[" + publicText + "]}";
    const auto members = nlohmann::json::parse(publicText).size();
    const auto setObject = *JSONSerialization::jsonObject(setText).as<JSONValue::Object>();
    const auto tooLarge = JOSESwiftError::unsupportedKey("The RSA modulus has more than 2047 bits.");
    const auto tooMany = unreadable("JWK Set", tooManyMembers);
    const auto inKey = [](const JOSESwiftError& error) {
        return JOSEError::cannotDecodeJWK(wrapped(error)).debugDescription();
    };
    const auto readSet = [&](const Limits& limits) { static_cast<void>(JsonWebKeySet(setText, limits)); };
    expectExactLimits({
        {"public JWK", &Limits::rsaBits, 2048,
         [&](const Limits& limits) { static_cast<void>(JsonWebKey(publicText, KeyType::RSA2048Key, limits)); },
         tooLarge.debugDescription()},
        {"private JWK", &Limits::rsaBits, 2048,
         [&](const Limits& limits) { static_cast<void>(JsonWebKey::fromPrivateJwk(privateText, JWK_ENC, "", limits)); },
         tooLarge.debugDescription()},
        {"platform key", &Limits::rsaBits, 2048,
         [&](const Limits& limits) { static_cast<void>(PlatformKeyJWK::decodeFrom(publicText, limits)); },
         inKey(tooLarge)},
        {"set", &Limits::rsaBits, 2048, readSet, inKey(tooLarge)},
        {"set of an object", &Limits::rsaBits, 2048,
         [&](const Limits& limits) { static_cast<void>(JsonWebKeySet(setObject, limits)); },
         tooLarge.debugDescription()},
        {"members of a set", &Limits::jsonMembers, members + 2, readSet, inKey(tooMany)},
    });
}

TEST(Limits, OfKeyFilesHold) {
    const auto pem = keyText(rsaSig, "pkcs8_pem"), publicPem = keyText(rsaSig, "spki_pem");
    const auto tooLarge = SecurityError("The RSA modulus has more than 2047 bits.").debugDescription();
    const auto load = [](const std::string& text) {
        return [&text](const Limits& limits) { static_cast<void>(SoftwareKeyStore::load(text, limits)); };
    };
    const auto loadHalf = [](const std::string& text, KeyClass half) {
        return [&text, half](const Limits& limits) {
            static_cast<void>(SoftwareKeyStore::load(text, half, {}, "the text", limits));
        };
    };
    expectExactLimits({
        {"private key", &Limits::rsaBits, 2048, load(pem), tooLarge},
        {"public key", &Limits::rsaBits, 2048, load(publicPem), tooLarge},
        {"private half", &Limits::rsaBits, 2048, loadHalf(pem, KeyClass::privateKey), tooLarge},
        {"public half", &Limits::rsaBits, 2048, loadHalf(publicPem, KeyClass::publicKey), tooLarge},
    });

    const auto row = rowNamed("key_files.json", "files", "encrypted PEM");
    const std::string passphrase = row["passphrase"];
    const auto source = [&](std::string_view) { return SecretBuffer(passphrase.begin(), passphrase.end()); };
    const auto text = fromBase64(row["file"]);
    const auto decrypt = [&](std::uint64_t iterations) {
        Limits limits;
        limits.keyDerivationIterations = iterations;
        return SoftwareKeyStore::load(text, KeyClass::privateKey, source, "the text", limits);
    };
    EXPECT_NO_THROW(decrypt(2048));
    EXPECT_ERROR(decrypt(2047), KeyStoreError::notSupported(
                                    "Decrypting the text would take more than 2047 iterations of key derivation."));
}

}  // namespace
